// Stands in for orrery.dll. What a run does is chosen by the environment variable ORRERY_STAND_IN:
// "report" writes one, "cut" a part of it, "nothing" reports success without one, "refuse" reports a
// cancelled run, and "wait" writes one, waits for Cancel and reports success all the same. Built
// without ORRERY_STAND_IN_EXPORTS it is a library that lacks the names.
#include <windows.h>

#ifdef ORRERY_STAND_IN_EXPORTS

#include <cstdio>
#include <string>

#include "orrery/inventory.h"

namespace {

HANDLE CancelEvent()
{
    static const HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    return event;
}

void WriteReport(const wchar_t* path, std::size_t missingBytes = 0)
{
    constexpr wchar_t kReport[] = L"BIOS\t0\tVersion\t1.0\nET\t0\t\t12\nET\t0\t\t3\n";
    if (std::FILE* const file = _wfopen(path, L"wb")) {
        std::fwrite(kReport, sizeof kReport - sizeof kReport[0] - missingBytes, 1, file);
        std::fclose(file);
    }
}

}  // namespace

extern "C" {

int32_t __stdcall GetInventoryEx(const wchar_t* path, uint32_t)
{
    wchar_t buffer[16] = L"";
    GetEnvironmentVariableW(L"ORRERY_STAND_IN", buffer, 16);
    const std::wstring behaviour = buffer;
    CancelEvent();
    if (behaviour == L"report" || behaviour == L"wait")
        WriteReport(path);
    if (behaviour == L"cut")
        WriteReport(path, 3);
    if (behaviour == L"wait")
        WaitForSingleObject(CancelEvent(), 20'000);
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
