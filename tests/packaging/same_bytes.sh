#!/usr/bin/env bash
# Links and packs once more, elsewhere and as another builder would, and compares the bytes.
# scripts/reproducible compares whole builds.
#
#   same_bytes.sh BUILD     a built folder
source "$(dirname "${BASH_SOURCE[0]}")/../../scripts/setup.sh"

build=$(realpath "$1")
scratch=$build/tests/same_bytes
failures=0

same() {
    cmp "$1" "$2" && return
    failures=$((failures + 1))
}

pack() { (cd "$build" && cpack -B "$scratch/$1" >"$scratch/cpack.log" 2>&1) || { cat "$scratch/cpack.log"; exit 1; }; }

rm -rf "$scratch"
mkdir -p "$scratch/linked"

for file in orrery.dll orreryctl.exe; do
    link=$(ninja -C "$build" -t commands "bin/$file" | tail -1)
    (cd "$build" && eval "$(sed "s# bin/# $scratch/linked/#g; s#,src/lib#,$scratch/linked/lib#; s#=client/lib#=$scratch/linked/lib#; s# -l [^ ]*/lib# -l $scratch/linked/lib#" <<<"$link")")
    same "$scratch/linked/$file" "$build/bin/$file"
done
same "$scratch/linked/liborrery.dll.a" "$build/src/liborrery.dll.a"

export SOURCE_DATE_EPOCH=1000000000
(TZ=UTC umask 022 && pack first)
sleep 2
(export TZ=Asia/Kolkata LC_ALL=C && umask 077 && pack second)
for package in "$scratch"/first/*.zip "$scratch"/first/*.msi; do
    same "$package" "$scratch/second/${package##*/}"
done

# The times that the packages tell are those that were asked for, and not their files' own.
python3 - "$scratch"/first/*.zip <<'END' || failures=$((failures + 1))
import sys, zipfile
times = {entry.date_time for entry in zipfile.ZipFile(sys.argv[1]).infolist()}
sys.exit(0 if times == {(2001, 9, 9, 1, 46, 40)} else f"the ZIP tells {times}")
END
[ "$(grep -c 'Sep  9 01:46:40 2001' < <(TZ=UTC msiinfo suminfo "$scratch"/first/*.msi))" = 2 ] ||
    { echo "the MSI tells another time"; failures=$((failures + 1)); }

[ $failures = 0 ]
