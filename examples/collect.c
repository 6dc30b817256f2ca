/* Writes a report to the current folder and prints the name of Windows from it.
   Linked with the import library; the system loads orrery.dll from the program's own folder. */
#include <orrery/inventory.h>

#include <stdio.h>
#include <wchar.h>

int main(void)
{
    const wchar_t* const path = L"inventory.tsv";
    const wchar_t* const fact = L"OperatingSystem\t0\tCaption\t";
    wchar_t line[1024]; /* a line has at most 1023 units */
    FILE* report;
    int found = 0;

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
        if (wcsncmp(line, fact, wcslen(fact)) == 0)
            found = wprintf(L"%ls", line + wcslen(fact)) > 1; /* more than the line feed */
    fclose(report);
    return found ? 0 : 3;
}
