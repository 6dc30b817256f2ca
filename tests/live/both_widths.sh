#!/usr/bin/env bash
# On a 64-bit Windows the library tells a 32-bit host what it tells a 64-bit one: all but the elapsed times and
# the free space, which other programs use. Where the two differ otherwise, the whole difference is shown.
# The client says of a library of the other width that it is one.
#
#   both_widths.sh X64 X86     the folders of orreryctl.exe and orrery.dll; needs a Wine of both widths
source "$(dirname "${BASH_SOURCE[0]}")/../../scripts/setup.sh"

[ -e "$1/orreryctl.exe" ] || { echo "$1 is not built"; exit 77; }
x64=$(realpath "$1") x86=$(realpath "$2")
scratch=$x86/both_widths
rm -rf "$scratch"
mkdir -p "$scratch"
cd "$scratch"
start_clone "$scratch/wine"

# Each view of the registry has a name of its own for Windows. The client is told version 6.2, and looks there.
for view in 64 32; do
    cat >view.reg <<END
REGEDIT4

[HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Windows NT\\CurrentVersion]
"CurrentVersion"="6.3"
"CurrentBuildNumber"="19045"
"ProductName"="Windows 10 of $view bits"
"DisplayVersion"="${view}H2"
"CurrentMajorVersionNumber"=dword:0000000a
"CurrentMinorVersionNumber"=dword:00000000
END
    wine reg import view.reg /reg:$view </dev/null >/dev/null 2>&1
done

steady() { iconv -f UTF-16LE -t UTF-8 "$1/report.tsv" | grep -vP '^ET\t|^LogicalDisk\t\d+\tFreeSpace\t'; }
for width in x64 x86; do
    mkdir $width
    cp "${!width}"/{orreryctl.exe,orrery.dll} $width
    (cd $width && wine orreryctl.exe collect report.tsv --quiet </dev/null)
done
[ "$(steady x64 | wc -l)" -gt 50 ]
diff <(steady x64) <(steady x86)
for line in 'Caption	Windows 10 of 64 bits x64' 'Is64x	1' 'Version	10.0.19045' 'Windows10Version	64H2'; do
    steady x86 | grep -qx "OperatingSystem	0	$line" || { echo "not there: $line"; exit 1; }
done

refuses() {
    local status=0
    cp "${!2}/orrery.dll" "$1"
    (cd "$1" && wine orreryctl.exe collect other.tsv </dev/null >/dev/null 2>refusal.txt) || status=$?
    grep -q "is for $2 and this program for $1;" "$1/refusal.txt" && [ $status != 0 ] && [ ! -e "$1/other.tsv" ]
}
refuses x64 x86
refuses x86 x64
