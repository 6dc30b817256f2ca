/* A caller in C99, linked with the import library: the header and the names as C sees them. */
#include <orrery/inventory.h>

#include <stddef.h>

int main(void)
{
    /* A group without categories and no path: nothing is collected, nothing is written. */
    if (GetInventoryEx(NULL, ORRERY_FLAG_GROUP_20 | ORRERY_FLAG_UTF8) != 1)
        return 1;
    Cancel();
    return GetInventory(NULL) == 0 ? 0 : 2;
}
