#!/usr/bin/env bash
# Checks how the report names each Windows that Wine can be set to, for a host with and one without a
# compatibility manifest, and the time zones. Works in a Wine prefix of its own.
#
#   wine_versions.sh FOLDER     the folder of orrery.dll, orreryctl.exe and manifested_caller.exe
source "$(dirname "${BASH_SOURCE[0]}")/../../scripts/setup.sh"

programs=$(realpath "$1")
scratch=$programs/wine_versions
failures=0 checks=0

# What the registry says of the version: state|CurrentVersion|CurrentBuildNumber|ProductName|
# CurrentMajorVersionNumber|DisplayVersion|ReleaseId|ProductType
states='
7|6.1|7601|Microsoft Windows 7||||WinNT
8|6.2|9200|Windows 8 Pro||||WinNT
8.1|6.3|9600|Windows 8.1 Pro||||WinNT
1809|6.3|17763|Windows 10 Pro|10||1809|WinNT
10|6.3|19045|Windows 10 Pro|10|22H2|2009|WinNT
11|6.3|22631|Windows 10 Pro|10|23H2|2009|WinNT
2012|6.2|9200|Windows Server 2012 Standard||||ServerNT
2012r2|6.3|9600|Windows Server 2012 R2 Standard||||ServerNT
2022|6.3|20348|Windows Server 2022 Standard|10|21H2|2009|ServerNT
'

# registry state|version set for the program, or "own" for the registry's|host|Caption|Version|
# Windows10Version|Is64x. Wine calls its processor x64 always and knows one edition each of
# workstation (28) and server (7). It exchanges the product types of 7 and 2008 R2. % is the build that the
# host is told, which differs between versions of Wine; no registry here has it.
rows='
7|win31|plain|Windows|3.10.0||
7|win95|plain|Windows 95|4.0.950||
7|win98|plain|Windows 98|4.10.2222||
7|winme|plain|Windows ME|4.90.3000||
7|nt351|plain|Windows NT |3.51.1057||
7|nt40|plain|Windows NT |4.0.1381||
7|nt40|manifested|Windows NT |4.0.1381||
7|win2k|plain|Windows 2000 Professional|5.0.2195||
7|winxp|plain|Windows XP Professional|5.1.2600||
7|winxp64|plain|Windows XP Professional x64 |5.2.3790||
7|winxp64|manifested|Windows XP Professional x64 |5.2.3790||
7|win2003|plain|Windows Server 2003 Standard x64|5.2.3790||
7|vista|plain|Windows Vista Ultimate x64|6.0.6002||1
7|win2008|plain|Windows Server 2008 Standard x64|6.0.6002||1
7|win2008|manifested|Windows Server 2008 Standard x64|6.0.6002||1
7|own|plain|Windows 7 Ultimate x64|6.1.7601||1
7|own|manifested|Windows 7 Ultimate x64|6.1.7601||1
7|win7|plain|Windows Server 2008 R2 Standard x64|6.1.7601||1
7|win2008r2|plain|Windows 7 Ultimate x64|6.1.7601||1
7|win8|plain|Windows 7  x64|6.1.7601||1
8|win8|plain|Windows 8 Pro x64|6.2.9200||1
8|win8|manifested|Windows 8 Pro x64|6.2.9200||1
8.1|win81|plain|Windows 8.1 Pro x64|6.3.9600||1
8.1|win81|manifested|Ultimate x64|6.3.9600||1
1809|win10|plain|Windows 10 Pro x64|10.0.17763|1809|1
10|win10|plain|Windows 10 Pro x64|10.0.19045|22H2|1
10|win10|manifested|Ultimate x64|10.0.%||1
11|own|plain|Windows 11 Pro x64|10.0.22631|23H2|1
11|win10|plain|Windows 11 Pro x64|10.0.22631|23H2|1
11|win10|manifested|Ultimate x64|10.0.%||1
2012|own|plain|Windows Server 2012 Standard x64|6.2.9200||1
2012|own|manifested|Windows Server 2012 Standard x64|6.2.9200||1
2012r2|own|plain|Windows Server 2012 R2 Standard x64|6.3.9600||1
2012r2|own|manifested|Standard x64|6.3.9600||1
2022|own|plain|Windows Server 2022 Standard x64|10.0.20348|21H2|1
'

# TZ|TimeZone, where % is "Standard" or "Daylight", whichever applies today. One of New York and
# Sydney always has daylight time.
zones='
UTC|(GMT) Greenwich Standard Time
Asia/Kolkata|(GMT +05:30) India Standard Time
America/St_Johns|(GMT -03:30) Newfoundland % Time
America/New_York|(GMT -05:00) Eastern % Time
Australia/Sydney|(GMT +10:00) AUS Eastern % Time
'

import_registry() {
    wine reg import "$@" </dev/null >/dev/null 2>&1
}

# One program name for each version and host, so that Wine can be told the version by name.
prepare_programs() {
    local version host
    cp "$programs/orrery.dll" "$scratch"
    echo REGEDIT4 >versions.reg
    grep . <<<"$rows" | cut -d'|' -f2,3 | sort -u | while IFS='|' read -r version host; do
        case $host in
            plain) ln "$programs/orreryctl.exe" "${version}_plain.exe" ;;
            manifested) ln "$programs/manifested_caller.exe" "${version}_manifested.exe" ;;
        esac
        [ "$version" = own ] || printf '\n[%s]\n"Version"="%s"\n' \
            "HKEY_CURRENT_USER\\Software\\Wine\\AppDefaults\\${version}_$host.exe" "$version"
    done >>versions.reg
    import_registry versions.reg
}

value() { [ -n "$2" ] && echo "\"$1\"=\"$2\"" || echo "\"$1\"=-"; }
number() { [ -n "$2" ] && printf '"%s"=dword:%08x\n' "$1" "$2" || echo "\"$1\"=-"; }

# Puts one of the states into the registry.
enter_state() {
    local version build name major display release type
    IFS='|' read -r _ version build name major display release type < <(grep "^$1|" <<<"$states")
    {
        printf 'REGEDIT4\n\n[%s]\n' 'HKEY_LOCAL_MACHINE\Software\Microsoft\Windows NT\CurrentVersion'
        value CurrentVersion "$version"
        value CurrentBuildNumber "$build"
    } >state.reg
    # The library reads of the system in the 64-bit view of the registry, whatever its own width;
    # Wine's version for a program is that of the program's view.
    import_registry state.reg /reg:32
    {
        cat state.reg
        value ProductName "$name"
        number CurrentMajorVersionNumber "$major"
        number CurrentMinorVersionNumber "${major:+0}"
        value DisplayVersion "$display"
        value ReleaseId "$release"
        printf '\n[%s]\n' 'HKEY_LOCAL_MACHINE\System\CurrentControlSet\Control\ProductOptions'
        value ProductType "$type"
    } >system.reg
    import_registry system.reg /reg:64
}

# Runs a host and leaves its report in report.tsv. After a crash inside of Wine's own WMI, which does not
# bear many threads each time, the host runs again.
collect() {
    local arguments=(collect report.tsv) attempt
    case $1 in *_manifested) arguments=() ;; esac
    for attempt in 1 2 3; do
        rm -f report.tsv
        wine "$1.exe" "${arguments[@]}" </dev/null >output.txt 2>&1 || true
        grep -qs 'exception 0xC0000005 in .*wbemprox' output.txt || break
    done
}

# The values of the operating system's properties, each followed by "|".
facts() {
    local property
    [ -e report.tsv ] || { echo "no report: $(head -c 500 output.txt)"; return; }
    for property in "$@"; do
        iconv -f UTF-16LE -t UTF-8 report.tsv |
            awk -F'\t' -v p="$property" '$1 == "OperatingSystem" && $3 == p { printf "%s|", $4 }'
    done
}

check() {
    checks=$((checks + 1))
    [ "$2" = "$3" ] && return
    printf '%s\n  expected %s\n  got      %s\n' "$1" "$2" "$3"
    failures=$((failures + 1))
}

check_versions() {
    local state version host expected told entered=
    while IFS='|' read -r state version host expected; do
        [ "$state" = "$entered" ] || enter_state "$state"
        entered=$state
        collect "${version}_$host"
        told=$(sed -n 's/^10\.0\.//p' output.txt)
        check "$version $host, registry of $state" "${expected/\%/${told:-none}}|" \
            "$(facts Caption Version Windows10Version Is64x)"
    done < <(grep . <<<"$rows")
}

check_zones() {
    local zone expected season
    while IFS='|' read -r zone expected; do
        export TZ=$zone
        case $(date +%Z) in *DT) season=Daylight ;; *) season=Standard ;; esac
        collect own_plain
        check "$zone" "${expected/\%/$season}|" "$(facts TimeZone)"
    done < <(grep . <<<"$zones")
}

export LC_ALL=C
rm -rf "$scratch"
mkdir -p "$scratch"
cd "$scratch"
start_clone "$scratch/wine"
prepare_programs
check_versions
check_zones
echo "$checks checks, $failures failed"
[ $failures = 0 ]
