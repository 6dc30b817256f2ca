/* A host whose manifest names the versions of Windows up to 10 and 11, so that Windows tells it its
   real version. Collects into report.tsv of the current folder. */
#include <orrery/inventory.h>

int main(void)
{
    return GetInventoryEx(L"report.tsv", 0) == 1 ? 0 : 1;
}
