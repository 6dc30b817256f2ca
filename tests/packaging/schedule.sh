#!/usr/bin/env bash
# Has Windows' own program register the task of packaging/schedule, and refuse a damaged one.
source "$(dirname "${BASH_SOURCE[0]}")/../../scripts/setup.sh"

task=$root/packaging/schedule/orrery-inventory.xml
damaged=$(mktemp --suffix=.xml)
trap 'rm -f "$damaged"' EXIT
start_wine
create() { wine schtasks /create /f /tn "Orrery Inventory" /xml "$(winepath -w "$1")" </dev/null; }
create "$task" || { echo "the task is refused"; exit 1; }
wine schtasks /delete /f /tn "Orrery Inventory" </dev/null || { echo "the task is not there"; exit 1; }
iconv -f UTF-16 -t UTF-8 "$task" | sed 's/<StartWhenAvailable>true/<StartWhenAvailable>soon/' | iconv -t UTF-16 >"$damaged"
! create "$damaged" || { echo "a damaged task is taken"; exit 1; }
