#!/usr/bin/env bash
# The library exports three names. It imports from libraries that every Windows has, and nothing that
# an old one lacks: that it looks up by name.
#
#   exports_and_imports.sh FOLDER TOOL     the folder of orrery.dll; objdump or llvm-readobj
set -euo pipefail

status=0

expect() {
    [ "$2" = "$3" ] || { echo "$1: expected \"$2\", got \"$3\"" >&2 && status=1; }
}
sorted() { tr '[:upper:]' '[:lower:]' | sort | xargs; }

runtime=" msvcrt.dll"
case $2 in
    *llvm-readobj)
        tables=$("$2" --coff-exports --coff-imports "$1/orrery.dll")
        exported=$(sed -n '/^Export {/,/^}/s/^  Name: //p' <<<"$tables" | sort | xargs)
        # The C runtime that is a part of every Windows for ARM64.
        libraries=$(sed -n '/^Import {/,/^}/s/^  Name: //p' <<<"$tables" | grep -v '^api-ms-win-crt-' | sorted)
        runtime=
        ;;
    *)
        tables=$("$2" -p "$1/orrery.dll")
        exported=$(sed -n '/^\[Ordinal\/Name Pointer\] Table/,/^$/s/^\t\[.* //p' <<<"$tables" | sort | xargs)
        # Later tools mark the names' table the same way.
        expect "exported functions" 3 "$(grep -c '+base\[.* RVA' <<<"$tables")"
        libraries=$(sed -n 's/^\tDLL Name: //p' <<<"$tables" | sorted)
        ;;
esac
expect "exported names" "Cancel GetInventory GetInventoryEx" "$exported"
expect libraries "advapi32.dll kernel32.dll$runtime ole32.dll oleaut32.dll user32.dll ws2_32.dll" "$libraries"

late='GetNativeSystemInfo|GetProductInfo|IsWow64Process|GetDiskFreeSpaceExW|EnumDisplayDevices[AW]'
expect "imports that old systems lack" "" "$(grep -owE "$late" <<<"$tables" | sort -u | xargs)"
exit $status
