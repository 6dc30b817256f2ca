#!/usr/bin/env bash
# Installs the MSI without a dialog, repairs, upgrades and removes it in a Wine prefix of its own, and
# looks at the files and the registry after each step.
#
#   installer.sh BUILD      a configured build folder, whose packages are made anew
source "$(dirname "${BASH_SOURCE[0]}")/../../scripts/setup.sh"

build=$(realpath "$1")
scratch=$build/tests/installer
failures=0 checks=0

check() {
    checks=$((checks + 1))
    [ "$2" = "$3" ] && return
    printf '%s\n  expected %s\n  got      %s\n' "$1" "$2" "$3"
    failures=$((failures + 1))
}

# package VERSION [CPACK-OPTION ...]: leaves VERSION.msi in the scratch folder.
package() {
    local version=$1
    shift
    (cd "$build" && cpack -B "$scratch/$version" -R "$version" -D CPACK_PACKAGE_FILE_NAME=tree "$@" >"$scratch/cpack.log" 2>&1) ||
        { cat "$scratch/cpack.log"; exit 1; }
    cp "$scratch/$version/tree.msi" "$scratch/$version.msi"
}

# What the template shares is read; what an installation writes to is the test's own.
own_prefix() {
    clone_wine "$scratch/wine"
    local template=$root/build/wine/drive_c entry
    rm "$WINEPREFIX/drive_c/windows" "$WINEPREFIX/drive_c/Program Files"
    mkdir "$WINEPREFIX/drive_c/windows" "$WINEPREFIX/drive_c/Program Files"
    for entry in "$template"/windows/*; do
        [ "${entry##*/}" = Installer ] || ln -s "$entry" "$WINEPREFIX/drive_c/windows"
    done
}

installer() { wine msiexec "$@" /qn </dev/null >/dev/null 2>&1 && echo 0 || echo $?; }

# The value of a registry key's name, without its type.
value() {
    wine reg query "$1" /v "$2" </dev/null 2>/dev/null >value.txt || true
    tr -d '\r' <value.txt | sed -n "s/^ *$2 *REG_[A-Z_]* *//Ip"
}

# The versions under which the product is listed for removal.
listed() {
    wine reg query 'HKLM\Software\Microsoft\Windows\CurrentVersion\Uninstall' /s </dev/null >listed.txt 2>/dev/null || true
    tr -d '\r' <listed.txt |
        awk '/DisplayName .*Orrery Inventory$/ { ours = 1 } ours && $1 == "DisplayVersion" { print $NF; ours = 0 }' | xargs
}

# Where the installed tree differs from the packaged one of a version; says nothing where it does not.
differences() { diff -rq "$scratch/$1/_CPack_Packages/win64/External/tree" "$installed" 2>&1 || true; }

# The machine's path, without the empty entries that Wine leaves when it takes one away.
on_path() {
    value 'HKLM\System\CurrentControlSet\Control\Session Manager\Environment' PATH | sed 's/;;*/;/g; s/;$//'
}

rm -rf "$scratch"
mkdir -p "$scratch"
cd "$scratch"
package 0.1.0
package 0.2.0
own_prefix
trap 'wineserver -k || true' EXIT
wineserver -p </dev/null >/dev/null 2>&1
wine wineboot </dev/null >/dev/null 2>&1
installed=$WINEPREFIX/drive_c/Program\ Files/Orrery\ Inventory
path=$(on_path)
entry='C:\Program Files\Orrery Inventory\bin\'

check "install" 0 "$(installer /i 0.1.0.msi)"
check "files after install" "" "$(differences 0.1.0)"
check "versions after install" 0.1.0 "$(listed)"
check "path after install" "$path;$entry" "$(on_path)"

rm "$installed/bin/orrery.dll"
echo spoilt >"$installed/bin/orreryctl.exe"
# What "msiexec /fa" asks for; Wine's own takes neither a package nor a product code there.
check "repair" 0 "$(installer /i 0.1.0.msi REINSTALL=ALL REINSTALLMODE=amus)"
check "files after repair" "" "$(differences 0.1.0)"
check "path after repair" "$path;$entry" "$(on_path)"

check "upgrade" 0 "$(installer /i 0.2.0.msi)"
check "files after upgrade" "" "$(differences 0.2.0)"
check "versions after upgrade" 0.2.0 "$(listed)"
check "path after upgrade" "$path;$entry" "$(on_path)"

check "older one refused" 67 "$(installer /i 0.1.0.msi)"
check "versions after refusal" 0.2.0 "$(listed)"

check "removal" 0 "$(installer /x 0.2.0.msi)"
check "files after removal" no "$([ -e "$installed" ] && echo yes || echo no)"
check "versions after removal" "" "$(listed)"
check "path after removal" "$path" "$(on_path)"

echo "$checks checks, $failures failed"
[ $failures = 0 ]
