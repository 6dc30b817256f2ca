// Writes a report to the user's own folder of local data, where nobody else can plant a file first, and
// prints the name of Windows from it as UTF-8.
// Loads orrery.dll by its absolute path, beside this program; link with ole32.
#include <windows.h>
#include <objbase.h>

#include <orrery/inventory.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <type_traits>

namespace {

struct FreeModule {
    void operator()(HMODULE module) const { FreeLibrary(module); }
};
using Module = std::unique_ptr<std::remove_pointer_t<HMODULE>, FreeModule>;

Module LoadBesideProgram(const wchar_t* name)
{
    std::wstring program(32768, L'\0');
    program.resize(GetModuleFileNameW(nullptr, program.data(), 32768));
    const auto path = std::filesystem::path{program}.replace_filename(name);
    // What the library itself needs is Windows' own and comes from System32 alone.
    Module module{LoadLibraryExW(path.c_str(), nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32)};
    if (!module)
        throw std::runtime_error("orrery.dll cannot be loaded");
    return module;
}

/// The values of a report by "SECTION.INDEX.PROPERTY".
std::map<std::wstring, std::wstring> ReadReport(const std::filesystem::path& path)
{
    std::ifstream file{path, std::ios::binary};
    const std::string bytes{std::istreambuf_iterator<char>{file}, {}};
    std::wstring text(bytes.size() / sizeof(wchar_t), L'\0');  // UTF-16LE, as in memory
    std::memcpy(text.data(), bytes.data(), text.size() * sizeof(wchar_t));

    std::map<std::wstring, std::wstring> values;
    std::wistringstream lines{text};
    std::wstring section, index, property, value;
    while (std::getline(lines, section, L'\t') && std::getline(lines, index, L'\t') &&
           std::getline(lines, property, L'\t') && std::getline(lines, value))
        values[section + L"." + index + L"." + property] = value;
    return values;
}

/// A folder that only this user and administrators can write to; a service's is below System32.
std::filesystem::path LocalData()
{
    std::wstring folder(32768, L'\0');
    folder.resize(GetEnvironmentVariableW(L"LOCALAPPDATA", folder.data(), 32768));
    if (folder.empty())
        throw std::runtime_error("this user has no folder of local data");
    return folder;
}

std::string ToUtf8(const std::wstring& text)
{
    const auto units = static_cast<int>(text.size());
    std::string utf8(text.size() * 3, '\0');
    utf8.resize(static_cast<std::size_t>(
        WideCharToMultiByte(CP_UTF8, 0, text.data(), units, utf8.data(),
                            static_cast<int>(utf8.size()), nullptr, nullptr)));
    return utf8;
}

}  // namespace

int main()
try {
    // A program that owns its process sets what WMI asks of a client once, before the first run.
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    CoInitializeSecurity(nullptr, -1, nullptr, nullptr, RPC_C_AUTHN_LEVEL_DEFAULT,
                         RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE, nullptr);

    const Module library = LoadBesideProgram(L"orrery.dll");
    // Through void*: compilers warn of a direct cast between types of functions.
    const auto collect = reinterpret_cast<decltype(&GetInventoryEx)>(
        reinterpret_cast<void*>(GetProcAddress(library.get(), "GetInventoryEx")));
    if (collect == nullptr)
        throw std::runtime_error("orrery.dll is another library");

    const auto path = LocalData() / L"inventory.tsv";
    std::filesystem::remove(path);  // so that an old report cannot pass for the new one
    if (collect(path.c_str(), ORRERY_FLAG_HARDWARE) != 1)
        throw std::runtime_error("the run was cancelled");
    if (!std::filesystem::exists(path))
        throw std::runtime_error("no report was written");

    SetConsoleOutputCP(CP_UTF8);
    std::puts(ToUtf8(ReadReport(path).at(L"OperatingSystem.0.Caption")).c_str());
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
}
