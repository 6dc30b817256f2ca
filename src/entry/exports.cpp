#include <orrery/inventory.h>

#include "entry/run.h"

extern "C" {

int32_t __stdcall GetInventory(const wchar_t* path)
{
    return GetInventoryEx(path, 0);
}

int32_t __stdcall GetInventoryEx(const wchar_t* path, uint32_t flags)
{
    return orrery::RunInventory(path, flags);
}

void __stdcall Cancel(void)
{
    orrery::CancelRuns();
}

}  // extern "C"
