// A library that somebody has put where a program may look for another one. It tells of its loading by
// a file in the current folder.

#include <windows.h>

BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void*)
{
    if (reason == DLL_PROCESS_ATTACH)
        CloseHandle(
            CreateFileW(L"planted.loaded", GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
    return TRUE;
}
