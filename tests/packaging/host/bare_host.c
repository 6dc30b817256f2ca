/* A host without a C runtime, for Microsoft's form of linking: no library but the system's and ours. */
#include <windows.h>

#include <orrery/inventory.h>

void BareStart(void)
{
    ExitProcess(GetInventoryEx(NULL, ORRERY_FLAG_GROUP_20) == 1 ? 42 : 1);
}
