#pragma once

#include <windows.h>

#include <string>

#include "support/unique.h"

namespace orrery {

/// This program, started once more for work that may hang or crash.
///
/// The process has no window and no input or output but its error stream, which is kept here. It
/// ends at the latest with the object, as does every process that it starts, also when this program
/// is killed. (Before Windows 8, and there only where this program itself was started in a job, such
/// processes are on their own.)
class CChildProcess {
public:
    /// @param arguments the command line behind the program's name
    /// @param inherited the one handle that the process gets besides its error stream; it must be
    ///                  inheritable
    /// @throws CommandError with kUnexpected when the process cannot be started
    CChildProcess(const std::wstring& arguments, HANDLE inherited);
    ~CChildProcess() { End(); }
    CChildProcess(const CChildProcess&) = delete;
    CChildProcess& operator=(const CChildProcess&) = delete;

    /// Waits for the process and takes what it writes to its error stream, which blocks it otherwise.
    /// @return whether it has ended
    bool EndsWithin(DWORD milliseconds);
    /// Ends what still runs.
    void End() noexcept;
    /// The exit code of a process that has ended.
    DWORD EndCode() const noexcept;
    /// The start of what the process wrote to its error stream.
    const std::string& errors() const noexcept { return errors_; }

private:
    void TakeErrors();

    UniqueHandle job_;
    UniqueHandle process_;
    UniqueHandle errorPipe_;
    std::string errors_;
};

}  // namespace orrery
