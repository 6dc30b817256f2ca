#include "client/commands/windows/library.h"

#include <filesystem>
#include <fstream>

#include "client/system/console.h"
#include "client/system/exit_codes.h"
#include "client/system/program_path.h"
#include "support/library.h"

namespace orrery {
namespace {

constexpr wchar_t kLibraryName[] = L"orrery.dll";

[[noreturn]] void FailLibrary(const std::string& message)
{
    throw CommandError(ExitCode::kLibrary, message);
}

/// What a program or library runs on; empty for a file that is neither.
std::string ProcessorOf(const std::wstring& path)
{
    std::ifstream file{std::filesystem::path{path}, std::ios::binary};
    IMAGE_DOS_HEADER dos{};
    file.read(reinterpret_cast<char*>(&dos), sizeof dos);
    DWORD signature = 0;
    IMAGE_FILE_HEADER header{};
    file.seekg(dos.e_lfanew);
    file.read(reinterpret_cast<char*>(&signature), sizeof signature);
    file.read(reinterpret_cast<char*>(&header), sizeof header);
    if (!file || dos.e_magic != IMAGE_DOS_SIGNATURE || signature != IMAGE_NT_SIGNATURE)
        return {};
    switch (header.Machine) {
        case IMAGE_FILE_MACHINE_AMD64:
            return "x64";
        case IMAGE_FILE_MACHINE_I386:
            return "x86";
        case IMAGE_FILE_MACHINE_ARM64:
            return "ARM64";
        default:
            return "another processor";
    }
}

UniqueModule Load(const std::wstring& path)
{
    if (GetFileAttributesW(path.c_str()) == INVALID_FILE_ATTRIBUTES)
        FailLibrary("the library " + Quoted(path) +
                    " is missing; put orrery.dll into the folder of orreryctl.exe");
    UniqueModule module{LoadLibraryExW(path.c_str(), nullptr, 0)};
    if (const DWORD error = GetLastError(); !module) {
        const std::string library = ProcessorOf(path), program = ProcessorOf(ProgramPath());
        const bool isOther = !library.empty() && library != program;
        FailLibrary("the library " + Quoted(path) +
                    (isOther ? " is for " + library + " and this program for " + program
                             : " cannot be loaded: " + SystemMessage(error)) +
                    "; replace it by the orrery.dll that came with this program");
    }
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

std::wstring LibraryPath()
{
    const std::wstring program = ProgramPath();
    return program.substr(0, program.rfind(L'\\') + 1) + kLibraryName;
}

CInventoryLibrary::CInventoryLibrary() : path_(LibraryPath()), module_(Load(path_))
{
    CheckExports(path_, module_.get());
    collect_ = FindFunction<decltype(collect_)>(module_.get(), "GetInventory");
    cancel_ = FindFunction<decltype(cancel_)>(module_.get(), "Cancel");
}

}  // namespace orrery
