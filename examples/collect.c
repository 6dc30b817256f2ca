/* Writes a report to the user's own folder of local data, where nobody else can plant a file first, and
   prints the name of Windows from it as UTF-8.
   Linked with the import library; the system loads orrery.dll from the program's own folder. */
#include <windows.h>

#include <orrery/inventory.h>

#include <stdio.h>
#include <wchar.h>

int main(void)
{
    const wchar_t* const name = L"\\inventory.tsv";
    const wchar_t* const fact = L"OperatingSystem\t0\tCaption\t";
    wchar_t path[1024];
    wchar_t line[1024];  /* a line has at most 1023 units */
    char text[3 * 1024]; /* as UTF-8 */
    DWORD length;
    FILE* report;
    int found = 0;

    length = GetEnvironmentVariableW(L"LOCALAPPDATA", path, 1000);
    if (length == 0 || length >= 1000) {
        fputs("This user has no folder of local data.\n", stderr);
        return 4;
    }
    wcscat(path, name);
    _wremove(path); /* so that an old report cannot pass for the new one */
    if (GetInventory(path) != 1) {
        fputs("The run was cancelled.\n", stderr);
        return 1;
    }
    report = _wfopen(path, L"rb"); /* binary: a unit of UTF-16LE is a wchar_t */
    if (report == NULL) {
        fputs("No report was written.\n", stderr);
        return 2;
    }
    while (!found && fgetws(line, 1024, report) != NULL)
        if (wcsncmp(line, fact, wcslen(fact)) == 0 &&
            WideCharToMultiByte(CP_UTF8, 0, line + wcslen(fact), -1, text, sizeof text, NULL,
                                NULL) > 2) /* more than the line feed and the end */
            found = 1;
    fclose(report);
    if (found) {
        SetConsoleOutputCP(CP_UTF8);
        fputs(text, stdout);
    }
    return found ? 0 : 3;
}
