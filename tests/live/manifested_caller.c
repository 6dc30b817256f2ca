/* A host whose manifest names the versions of Windows up to 10 and 11, so that Windows tells it its
   real version, which it prints. Collects into report.tsv of the current folder. */
#include <orrery/inventory.h>

#include <stdio.h>
#include <windows.h>

int main(void)
{
    OSVERSIONINFOW version = {.dwOSVersionInfoSize = sizeof version};
    if (GetVersionExW(&version))
        printf("%lu.%lu.%lu", version.dwMajorVersion, version.dwMinorVersion,
               version.dwBuildNumber);
    return GetInventoryEx(L"report.tsv", 0) == 1 ? 0 : 1;
}
