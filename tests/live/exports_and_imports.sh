#!/usr/bin/env bash
# The library exports three names. It imports from libraries that every Windows has, and nothing that
# an old one lacks: that it looks up by name.
#
#   exports_and_imports.sh FOLDER OBJDUMP     the folder of orrery.dll
set -euo pipefail

tables=$("$2" -p "$1/orrery.dll")
status=0

expect() {
    [ "$2" = "$3" ] || { echo "$1: expected \"$2\", got \"$3\"" >&2 && status=1; }
}

exported=$(sed -n '/^\[Ordinal\/Name Pointer\] Table/,/^$/s/^\t\[.* //p' <<<"$tables" | sort | xargs)
expect "exported names" "Cancel GetInventory GetInventoryEx" "$exported"
# Later tools mark the names' table the same way.
expect "exported functions" 3 "$(grep -c '+base\[.* RVA' <<<"$tables")"

libraries=$(sed -n 's/^\tDLL Name: //p' <<<"$tables" | tr '[:upper:]' '[:lower:]' | sort | xargs)
expect libraries "advapi32.dll kernel32.dll msvcrt.dll ole32.dll oleaut32.dll user32.dll ws2_32.dll" \
    "$libraries"

late='GetNativeSystemInfo|GetProductInfo|IsWow64Process|GetDiskFreeSpaceExW|EnumDisplayDevices[AW]'
expect "imports that old systems lack" "" "$(grep -owE "$late" <<<"$tables" | sort -u | xargs)"
exit $status
