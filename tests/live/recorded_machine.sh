#!/usr/bin/env bash
# A machine that the client records gives the report that the client collects on it: all of it but the
# elapsed times and the free space, which other programs use.
#
#   recorded_machine.sh FOLDER     the folder of orreryctl.exe, orrery.dll and replay_machine.exe
source "$(dirname "${BASH_SOURCE[0]}")/../../scripts/setup.sh"

folder=$(realpath "$1")
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
start_wine
cd "$folder"

run() { wine "$@" </dev/null >"$scratch/log" 2>&1 || { cat "$scratch/log"; exit 1; }; }
# Where it finds no /sys, Wine gives a number of cores that it has never set.
unset_there=
[ -e /sys/devices/system/cpu ] || unset_there='|^Processor\t\d+\tNumberOfCores\t'
steady() { iconv -f UTF-16LE -t UTF-8 "$1" | grep -vP "^ET\\t|^LogicalDisk\\t\\d+\\tFreeSpace\\t$unset_there"; }

windows=Z:${scratch//\//\\}
run orreryctl.exe record "$windows\\own.machine"
run orreryctl.exe collect "$windows\\own.tsv" --quiet
run replay_machine.exe "$windows\\own.machine" "$windows\\replayed.tsv"
[ "$(steady "$scratch/own.tsv" | wc -l)" -gt 50 ]
diff <(steady "$scratch/own.tsv") <(steady "$scratch/replayed.tsv")

# What may have been passed on is replaced by what tells more only when that is asked for.
run orreryctl.exe record --redact "$windows\\shared.machine"
if wine orreryctl.exe record "$windows\\shared.machine" </dev/null >"$scratch/log" 2>&1; then
    echo "a redacted file was replaced" >&2
    exit 1
fi
grep -q '^# Redacted' "$scratch/shared.machine"
run orreryctl.exe record --force "$windows\\shared.machine"
[ "$(grep -c '^# Redacted' "$scratch/shared.machine")" = 0 ]

# What cannot be written is said, and nothing is left behind.
mkdir "$scratch/folder.machine"
if wine orreryctl.exe record "$windows\\folder.machine" </dev/null >"$scratch/log" 2>&1; then
    echo "a folder was taken for a file" >&2
    exit 1
fi
[ "$(ls -A "$scratch" | grep -c tmp)" = 0 ]
