#include "prove/guard.h"

#include <windows.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <exception>
#include <mutex>
#include <thread>

namespace orrery::prove {
namespace {

constexpr DWORD kLongestMilliseconds = 60000;

std::mutex lock;
std::string current;
std::atomic<DWORD> since{0};

[[noreturn]] void EndWith(const char* what)
{
    std::fprintf(stderr, "FOUND %s while trying %s\n", what, current.c_str());
    std::fflush(stderr);
    TerminateProcess(GetCurrentProcess(), 1);
    for (;;)
        Sleep(INFINITE);
}

LONG WINAPI OnCrash(EXCEPTION_POINTERS* crash)
{
    char text[64];
    std::snprintf(text, sizeof text, "exception 0x%08lX at %p",
                  crash->ExceptionRecord->ExceptionCode, crash->ExceptionRecord->ExceptionAddress);
    EndWith(text);
}

void OnAbort(int)
{
    EndWith("an abort");
}

void OnTerminate()
{
    EndWith("an exception that nobody takes");
}

void Watch()
{
    for (;;) {
        Sleep(1000);
        const DWORD start = since;  // read before the clock, so that it is never later
        if (GetTickCount() - start > kLongestMilliseconds)
            EndWith("a hang");
    }
}

void Install()
{
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
    SetUnhandledExceptionFilter(OnCrash);
    std::set_terminate(OnTerminate);
    static_cast<void>(std::signal(SIGABRT, OnAbort));
    std::thread{Watch}.detach();
}

}  // namespace

void NowTrying(const std::string& attempt)
{
    static std::once_flag installed;
    const std::lock_guard hold{lock};
    current = attempt;
    since = GetTickCount();
    std::call_once(installed, Install);
}

}  // namespace orrery::prove
