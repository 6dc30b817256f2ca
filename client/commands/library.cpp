#include "client/commands/library.h"

#include "client/console.h"
#include "client/exit_codes.h"
#include "support/library.h"

namespace orrery {
namespace {

constexpr wchar_t kLibraryName[] = L"orrery.dll";

/// The folder of this program, with its trailing backslash.
std::wstring ProgramFolder()
{
    std::wstring path(MAX_PATH, L'\0');
    DWORD length = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    while (length == path.size()) {
        path.resize(path.size() * 2);
        length = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    }
    path.resize(length);
    return path.substr(0, path.rfind(L'\\') + 1);
}

[[noreturn]] void FailLibrary(const std::string& message)
{
    throw CommandError(ExitCode::kLibrary, message);
}

UniqueModule Load(const std::wstring& path)
{
    if (GetFileAttributesW(path.c_str()) == INVALID_FILE_ATTRIBUTES)
        FailLibrary("the library " + Quoted(path) +
                    " is missing; put orrery.dll into the folder of orreryctl.exe");
    // No dialog box for a damaged file: the program may run where nobody can close it.
    SetErrorMode(SEM_FAILCRITICALERRORS);
    UniqueModule module{LoadLibraryExW(path.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH)};
    if (const DWORD error = GetLastError(); !module)
        FailLibrary("the library " + Quoted(path) + " cannot be loaded: " + SystemMessage(error) +
                    "; replace it by the 64-bit orrery.dll that came with this program");
    return module;
}

/// A library without one of the three names is another one, or of another version.
void CheckExports(const std::wstring& path, HMODULE module)
{
    std::string missing;
    for (const char* name : {"GetInventory", "GetInventoryEx", "Cancel"})
        if (GetProcAddress(module, name) == nullptr)
            missing += (missing.empty() ? "" : ", ") + std::string{name};
    if (!missing.empty())
        FailLibrary("the library " + Quoted(path) + " does not export " + missing +
                    "; replace it by the orrery.dll that came with this program");
}

}  // namespace

CInventoryLibrary::CInventoryLibrary() : path_(ProgramFolder() + kLibraryName), module_(Load(path_))
{
    CheckExports(path_, module_.get());
    collect_ = FindFunction<decltype(collect_)>(module_.get(), "GetInventory");
    cancel_ = FindFunction<decltype(cancel_)>(module_.get(), "Cancel");
}

}  // namespace orrery
