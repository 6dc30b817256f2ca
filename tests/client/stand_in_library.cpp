// Stands in for orrery.dll. What a run does is chosen by the environment variable ORRERY_STAND_IN:
// "report" writes one, "cut" and "short" a part of it, within a line and to a line's end, "lose" one that
// lacks categories, "name" one that names Windows, "nothing" reports success without one, "refuse" reports
// a cancelled run. The others write a report first: "slow" takes a second, "wait" ends with Cancel, "late"
// too, but lacks categories, "hang" never and says something without end, "crash" and "exit" end the
// process, "leak" sets an event that the run must not know, and "unload" hangs when the library is
// unloaded. While the process of a run lives, the event exists that ORRERY_STAND_IN_EVENT names, for which
// "gate" waits.
// Built without ORRERY_STAND_IN_EXPORTS it is a library that lacks the names.
#include <windows.h>

#ifdef ORRERY_STAND_IN_EXPORTS

#include <cstdint>
#include <cstdio>
#include <string>

#include "orrery/inventory.h"

namespace {

HANDLE CancelEvent()
{
    static const HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    return event;
}

std::wstring Variable(const wchar_t* name)
{
    wchar_t buffer[32] = L"";
    GetEnvironmentVariableW(name, buffer, 32);
    return buffer;
}

HANDLE RunEvent()
{
    static const HANDLE event =
        CreateEventW(nullptr, TRUE, FALSE, Variable(L"ORRERY_STAND_IN_EVENT").c_str());
    return event;
}

void WriteReport(const wchar_t* path, const std::wstring& first, int categories,
                 std::size_t missingBytes)
{
    std::wstring report = first;
    for (int category = 0; category < categories; ++category)
        report += L"ET\t0\t\t12\n";
    if (categories == 13)
        report += L"VideoController\t0\tName\tV\n";
    if (std::FILE* const file = _wfopen(path, L"wb")) {
        std::fwrite(report.data(), report.size() * sizeof report[0] - missingBytes, 1, file);
        std::fclose(file);
    }
}

/// What a run does after it has written its report.
void Behave(const std::wstring& behaviour)
{
    if (behaviour == L"slow")
        Sleep(1000);
    if (behaviour == L"gate")
        WaitForSingleObject(RunEvent(), 60'000);
    if (behaviour == L"wait" || behaviour == L"late")
        WaitForSingleObject(CancelEvent(), 20'000);
    while (behaviour == L"hang") {
        DWORD written = 0;
        WriteFile(GetStdHandle(STD_ERROR_HANDLE), "still here\n", 11, &written, nullptr);
    }
    if (behaviour == L"crash")
        *static_cast<volatile char*>(VirtualAlloc(nullptr, 1, MEM_RESERVE, PAGE_NOACCESS)) = 1;
    if (behaviour == L"exit")
        ExitProcess(0);
    if (behaviour == L"leak")
        SetEvent(reinterpret_cast<HANDLE>(std::stoull(Variable(L"ORRERY_STAND_IN_HANDLE"))));
}

}  // namespace

extern "C" {

BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void*)
{
    if (reason == DLL_PROCESS_DETACH && Variable(L"ORRERY_STAND_IN") == L"unload")
        Sleep(INFINITE);
    return TRUE;
}

int32_t __stdcall GetInventoryEx(const wchar_t* path, uint32_t)
{
    const std::wstring behaviour = Variable(L"ORRERY_STAND_IN");
    RunEvent();
    CancelEvent();
    constexpr std::size_t kLastLine = 25 * sizeof(wchar_t);
    // As the library, it writes no file of another name.
    if (behaviour != L"nothing" && behaviour != L"refuse" && std::wstring{path}.ends_with(L".tsv"))
        WriteReport(path,
                    behaviour == L"name" ? L"OperatingSystem\t0\tCaption\tWindows \u0416\u65E5\n"
                                         : L"BIOS\t0\tVersion\t1.0\n",
                    behaviour == L"late" || behaviour == L"lose" ? 3 : 13,
                    behaviour == L"cut"     ? 3
                    : behaviour == L"short" ? kLastLine
                                            : 0);
    Behave(behaviour);
    return behaviour == L"refuse" ? 0 : 1;
}

int32_t __stdcall GetInventory(const wchar_t* path)
{
    return GetInventoryEx(path, 0);
}

void __stdcall Cancel()
{
    SetEvent(CancelEvent());
}

}  // extern "C"

#endif
