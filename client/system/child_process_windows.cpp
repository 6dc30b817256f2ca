#include "client/system/child_process.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <vector>

#include "client/system/console.h"
#include "client/system/exit_codes.h"
#include "client/system/program_path.h"

namespace orrery {
namespace {

constexpr DWORD kPipeBytes = 16384;
constexpr std::size_t kMostErrorBytes = 65536;
constexpr DWORD kEndMilliseconds = 5000;

struct AttributeListTraits {
    using Resource = LPPROC_THREAD_ATTRIBUTE_LIST;
    static Resource None() noexcept { return nullptr; }
    static void Close(Resource list) noexcept { DeleteProcThreadAttributeList(list); }
};

/// Names the handles that a new process inherits, where it would get every inheritable one.
class CHandleList {
public:
    CHandleList(HANDLE first, HANDLE second) : handles_{first, second}
    {
        SIZE_T bytes = 0;
        InitializeProcThreadAttributeList(nullptr, 1, 0, &bytes);
        memory_.resize(bytes);
        const auto list = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(memory_.data());
        if (!InitializeProcThreadAttributeList(list, 1, 0, &bytes))
            return;
        list_.reset(list);
        isFilled_ =
            UpdateProcThreadAttribute(list, 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles_.data(),
                                      sizeof handles_, nullptr, nullptr) != FALSE;
    }

    /// @return null, with the cause as the last error, when the list could not be made
    LPPROC_THREAD_ATTRIBUTE_LIST get() const noexcept { return isFilled_ ? list_.get() : nullptr; }

private:
    std::array<HANDLE, 2> handles_;
    std::vector<std::byte> memory_;
    Unique<AttributeListTraits> list_;
    bool isFilled_ = false;
};

[[noreturn]] void FailStart(DWORD error)
{
    throw CommandError(ExitCode::kUnexpected,
                       "the process " + Quoted(ProgramPath()) + " cannot be started for the run: " +
                           SystemMessage(error) + "; close other programs and collect again");
}

/// A job whose processes end with its last handle.
UniqueHandle MakeJob()
{
    UniqueHandle job{CreateJobObjectW(nullptr, nullptr)};
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
    if (!job || !SetInformationJobObject(job.get(), JobObjectExtendedLimitInformation, &limits,
                                         sizeof limits))
        FailStart(GetLastError());
    return job;
}

/// Starts the process with its first thread waiting.
PROCESS_INFORMATION StartSuspended(const std::wstring& arguments, HANDLE errors, HANDLE inherited)
{
    const CHandleList handles{errors, inherited};
    if (handles.get() == nullptr)
        FailStart(GetLastError());
    STARTUPINFOEXW startup{};
    startup.StartupInfo.cb = sizeof startup;
    startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    startup.StartupInfo.hStdError = errors;
    startup.lpAttributeList = handles.get();
    const std::wstring program = ProgramPath();
    std::wstring commandLine = L'"' + program + L"\" " + arguments;
    PROCESS_INFORMATION started{};
    if (!CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, TRUE,
                        CREATE_NO_WINDOW | CREATE_SUSPENDED | EXTENDED_STARTUPINFO_PRESENT, nullptr,
                        nullptr, &startup.StartupInfo, &started))
        FailStart(GetLastError());
    return started;
}

}  // namespace

CChildProcess::CChildProcess(const std::wstring& arguments, HANDLE inherited) : job_(MakeJob())
{
    UniqueHandle errors;
    if (!CreatePipe(errorPipe_.put(), errors.put(), nullptr, kPipeBytes) ||
        !SetHandleInformation(errors.get(), HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT))
        FailStart(GetLastError());
    const PROCESS_INFORMATION started = StartSuspended(arguments, errors.get(), inherited);
    process_.reset(started.hProcess);
    const UniqueHandle thread{started.hThread};
    // Before Windows 8 a process that is in a job already can be put into no other.
    if (!AssignProcessToJobObject(job_.get(), process_.get()))
        job_.reset();
    ResumeThread(thread.get());
}

bool CChildProcess::EndsWithin(DWORD milliseconds)
{
    const bool ended = WaitForSingleObject(process_.get(), milliseconds) == WAIT_OBJECT_0;
    TakeErrors();
    return ended;
}

void CChildProcess::End() noexcept
{
    if (job_)
        TerminateJobObject(job_.get(), 1);
    TerminateProcess(process_.get(), 1);  // without effect on one that has ended
    WaitForSingleObject(process_.get(), kEndMilliseconds);
}

DWORD CChildProcess::EndCode() const noexcept
{
    DWORD code = STILL_ACTIVE;
    GetExitCodeProcess(process_.get(), &code);
    return code;
}

void CChildProcess::TakeErrors()
{
    // At most what the pipe holds at a time: a process that never stops writing must not keep its
    // caller here.
    std::array<char, kPipeBytes> block;
    DWORD bytes = 0;
    if (PeekNamedPipe(errorPipe_.get(), nullptr, 0, nullptr, &bytes, nullptr) && bytes != 0 &&
        ReadFile(errorPipe_.get(), block.data(), kPipeBytes, &bytes, nullptr))
        errors_.append(block.data(),
                       std::min<std::size_t>(bytes, kMostErrorBytes - errors_.size()));
}

}  // namespace orrery
