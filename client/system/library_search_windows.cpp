#include "client/system/library_search.h"

#include <windows.h>

#include <string>

#include "support/library.h"

namespace orrery {
namespace {

/// For Windows 7 without its update of 2011: current folder and PATH can be left out there, and what
/// lies beside the program is passed over by a library of that name that is loaded already.
void KeepToSystemLibrariesByHand() noexcept
{
    std::wstring folder(MAX_PATH, L'\0');
    folder.resize(GetSystemDirectoryW(folder.data(), MAX_PATH));
    SetDllDirectoryW(folder.c_str());  // in place of the current one
    SetEnvironmentVariableW(L"PATH", folder.c_str());
    for (const wchar_t* name :
         {L"\\wlanapi.dll", L"\\iphlpapi.dll", L"\\bcrypt.dll", L"\\version.dll"})
        LoadLibraryExW((folder + name).c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
}

}  // namespace

void KeepToSystemLibraries() noexcept
{
    using Function = BOOL(WINAPI*)(DWORD);
    constexpr DWORD kSystem32 = 0x800;  // LOAD_LIBRARY_SEARCH_SYSTEM32
    const auto set =
        FindFunction<Function>(GetModuleHandleW(L"kernel32.dll"), "SetDefaultDllDirectories");
    if (set == nullptr || !set(kSystem32))
        KeepToSystemLibrariesByHand();
}

}  // namespace orrery
