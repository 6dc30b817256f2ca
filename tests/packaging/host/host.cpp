// A host in C++: one run into a file of the current folder.
#include <orrery/inventory.h>

int main()
{
    return GetInventory(L"report.tsv") == 1 ? 0 : 1;
}
