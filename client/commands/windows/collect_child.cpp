#include "client/commands/windows/collect_child.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <thread>

#include "client/commands/command_line.h"
#include "client/commands/windows/library.h"
#include "client/system/console.h"

namespace orrery {
namespace {

constexpr char kCommand[] = "collect-child";

// Added to an exit code, it makes a number that neither a crash nor a stray exit() gives.
constexpr DWORD kResultMark = 0x4F520000;
constexpr DWORD kMarkMask = 0xFFFF0000;

/// Ends the process without unloading anything: providers that hang or crash when they are unloaded
/// cannot spoil a run that is over.
[[noreturn]] void EndProcess(ExitCode result)
{
    TerminateProcess(GetCurrentProcess(), kResultMark + static_cast<DWORD>(result));
    std::abort();
}

/// Names the module at fault and has the process end at once, with the exception as its code and
/// without a dialog box.
LONG WINAPI OnCrash(EXCEPTION_POINTERS* crash)
{
    const EXCEPTION_RECORD& record = *crash->ExceptionRecord;
    const auto address = static_cast<const wchar_t*>(record.ExceptionAddress);
    std::array<wchar_t, MAX_PATH> path{};
    HMODULE module = nullptr;
    if (GetModuleHandleExW(
            GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
            address, &module))
        GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size()));
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "exception 0x%08lX in ", record.ExceptionCode);
    PrintError(text.data() + (module == nullptr ? "unknown code" : Quoted(path.data())));
    return EXCEPTION_EXECUTE_HANDLER;
}

/// Passes the event on to the library while the run goes on.
void CancelOn(HANDLE event, CInventoryLibrary::CancelFunction cancel)
{
    if (WaitForSingleObject(event, INFINITE) == WAIT_OBJECT_0)
        cancel();
}

[[noreturn]] void RunChild(const std::wstring& report, HANDLE cancel)
{
    // No dialog box for a damaged library either: nobody could close it.
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
    SetUnhandledExceptionFilter(&OnCrash);
    ExitCode result = ExitCode::kUnexpected;
    try {
        const CInventoryLibrary library;
        std::thread{CancelOn, cancel, library.cancel()}.detach();
        EndProcess(library.Collect(report) != 0 ? ExitCode::kDone : ExitCode::kCancelled);
    } catch (const CommandError& error) {
        PrintError(error.what());
        result = error.code();
    } catch (const std::exception& error) {
        PrintError(std::string{"unexpected failure: "} + error.what());
    }
    EndProcess(result);
}

}  // namespace

std::wstring CollectChildArguments(const std::wstring& report, HANDLE cancel)
{
    return FromUtf8(kCommand) + L" \"" + report + L"\" " +
           std::to_wstring(reinterpret_cast<std::uintptr_t>(cancel));
}

std::optional<ExitCode> CollectChildResult(DWORD endCode)
{
    if ((endCode & kMarkMask) != kResultMark)
        return std::nullopt;
    return ExitCode{static_cast<int>(endCode & ~kMarkMask)};
}

void AddCollectChildCommand(CCommandLine& commandLine)
{
    CCommand child = commandLine.AddHiddenCommand(kCommand);
    const auto report = std::make_shared<std::string>();
    const auto cancel = std::make_shared<std::uintptr_t>();
    child.Operand("REPORT.tsv", report.get());
    child.Operand("EVENT", cancel.get());
    child.Does([=] { RunChild(FromUtf8(*report), reinterpret_cast<HANDLE>(*cancel)); });
}

}  // namespace orrery
