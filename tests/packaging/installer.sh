#!/usr/bin/env bash
# Installs the MSI without a dialog, repairs, upgrades and removes it in a Wine prefix of its own, and
# looks at the files and the registry after each step.
#
#   installer.sh BUILD ARCHITECTURE     a configured build folder, whose packages are made anew
source "$(dirname "${BASH_SOURCE[0]}")/../../scripts/setup.sh"

build=$(realpath "$1")
scratch=$build/tests/installer
failures=0 checks=0
case $2 in
    x64) template=x64 system=win64 programs="Program Files" variable=ProgramFiles64Folder view='' ;;
    x86) template=Intel system=win32 programs="Program Files (x86)" variable=ProgramFilesFolder view='\Wow6432Node' ;;
    arm64) template=Arm64 system=winarm64 variable=ProgramFiles64Folder ;;
esac

check() {
    checks=$((checks + 1))
    [ "$2" = "$3" ] && return
    printf '%s\n  expected %s\n  got      %s\n' "$1" "$2" "$3"
    failures=$((failures + 1))
}

# Leaves VERSION.msi in the scratch folder.
package() {
    (cd "$build" && cpack -B "$scratch/$1" -R "$1" -D CPACK_PACKAGE_FILE_NAME=tree >"$scratch/cpack.log" 2>&1) ||
        { cat "$scratch/cpack.log"; exit 1; }
    cp "$scratch/$1/tree.msi" "$1.msi"
}

# What the template shares is read; what an installation writes to is the test's own.
own_prefix() {
    clone_wine "$scratch/wine"
    local template=$root/build/wine/drive_c entry
    rm "$WINEPREFIX/drive_c/windows" "$WINEPREFIX/drive_c/Program Files"
    mkdir "$WINEPREFIX/drive_c/windows" "$WINEPREFIX/drive_c/Program Files" "$WINEPREFIX/drive_c/Program Files (x86)"
    for entry in "$template"/windows/*; do
        [ "${entry##*/}" = Installer ] || ln -s "$entry" "$WINEPREFIX/drive_c/windows"
    done
}

# The low byte of the installer's exit code. 1 is none of its codes: a Wine process ends so when it loses
# its server, and is started once more.
installer() {
    local code=1 attempt
    for attempt in first second; do
        code=0
        WINEDEBUG=err+all,fixme-all wine msiexec "$@" /qn </dev/null >installer.log 2>&1 || code=$?
        [ $code = 1 ] || break
        { echo "$attempt attempt of msiexec $* ended with 1:"; tail -n 20 installer.log; } >&2
    done
    echo $code
}

# The value of a registry key's name, without its type.
value() {
    wine reg query "$1" /v "$2" </dev/null 2>/dev/null >value.txt || true
    tr -d '\r' <value.txt | sed -n "s/^ *$2 *REG_[A-Z_]* *//Ip"
}

# The versions under which the product is listed for removal.
listed() {
    wine reg query "HKLM\\Software$view\\Microsoft\\Windows\\CurrentVersion\\Uninstall" /s </dev/null >listed.txt 2>/dev/null || true
    tr -d '\r' <listed.txt |
        awk '/DisplayName .*Orrery Inventory/ { ours = 1 } ours && $1 == "DisplayVersion" { print $NF; ours = 0 }' | xargs
}

# Where the installed tree differs from the packaged one of a version; says nothing where it does not.
differences() { diff -rq "$scratch/$1/_CPack_Packages/$system/External/tree" "$installed" 2>&1 || true; }

# The machine's path, without the empty entries that Wine leaves when it takes one away.
on_path() {
    value 'HKLM\System\CurrentControlSet\Control\Session Manager\Environment' PATH | sed 's/;;*/;/g; s/;$//'
}

rm -rf "$scratch"
mkdir -p "$scratch"
cd "$scratch"
version=$(sed -n 's/^set(CPACK_PACKAGE_VERSION "\(.*\)")/\1/p' "$build/CPackConfig.cmake")
newer=99.0.0
package "$version"
package $newer
code=$(msiinfo export "$version.msi" Property | tr -d '\r' | sed -n 's/^ProductCode\t//p')
check "winget manifest names the product" 1 "$(grep -c "^  ProductCode: '$code'" "$root"/packaging/winget/*.installer.yaml)"
check "template and version of the installer" "$template;1033 500" \
    "$(msiinfo suminfo "$version.msi" | sed -n 's/^Template: //p; s/^Version: \([0-9]*\).*/\1/p' | xargs)"

# Wine does not set permissions; Windows does for each folder that a row names, and this test sees to it
# that each has one.
rows() { msiinfo export "$version.msi" "$1" | tr -d '\r' | sed -n '4,$p'; }
permissions='D:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;FRFX;;;BU)(A;OICI;FRFX;;;OW)'
check "permissions of the folders" \
    "$(rows Directory | cut -f1 | grep -Ev "^(TARGETDIR|$variable)$" | sort | sed "s/$/ CreateFolder $permissions/")" \
    "$(rows MsiLockPermissionsEx | cut -f2-4 | tr '\t' ' ' | sort)"

# No Wine here installs for ARM64.
if [ "$2" = arm64 ]; then
    echo "$checks checks, $failures failed"
    exit $failures
fi

own_prefix
trap 'wineserver -k || true' EXIT
wineserver -p </dev/null >/dev/null 2>&1
wine wineboot </dev/null >/dev/null 2>&1
installed=$WINEPREFIX/drive_c/$programs/Orrery\ Inventory
path=$(on_path)
entry="C:\\$programs\\Orrery Inventory\\bin\\"

check "install" 0 "$(installer /i "$version.msi")"
check "files after install" "" "$(differences "$version")"
check "versions after install" "$version" "$(listed)"
check "path after install" "$path;$entry" "$(on_path)"
if [ "$2" = x64 ]; then
    wine cmd /c orreryctl --version </dev/null >version.txt 2>/dev/null || true
    check "client found by its name" "orreryctl" "$(cut -d' ' -f1 version.txt)"
fi

rm "$installed/bin/orrery.dll"
echo spoilt >"$installed/bin/orreryctl.exe"
# What "msiexec /fa" asks for; Wine's own takes neither a package nor a product code there.
check "repair" 0 "$(installer /i "$version.msi" REINSTALL=ALL REINSTALLMODE=amus)"
check "files after repair" "" "$(differences "$version")"
check "path after repair" "$path;$entry" "$(on_path)"

check "upgrade" 0 "$(installer /i $newer.msi)"
check "files after upgrade" "" "$(differences $newer)"
check "versions after upgrade" $newer "$(listed)"
check "path after upgrade" "$path;$entry" "$(on_path)"

# The low byte of 1603, which says that the installation failed.
check "older one refused" 67 "$(installer /i "$version.msi")"
check "versions after refusal" $newer "$(listed)"

check "removal" 0 "$(installer /x $newer.msi)"
check "files after removal" no "$([ -e "$installed" ] && echo yes || echo no)"
check "versions after removal" "" "$(listed)"
check "path after removal" "$path" "$(on_path)"

check "part of it, elsewhere" 0 "$(installer /i "$version.msi" ADDLOCAL=Runtime 'INSTALLDIR=C:\elsewhere')"
check "files of the part" "bin share" "$(cd "$WINEPREFIX/drive_c/elsewhere" && echo *)"
check "path to the part" "$path;C:\elsewhere\bin\\" "$(on_path)"

echo "$checks checks, $failures failed"
[ $failures = 0 ]
