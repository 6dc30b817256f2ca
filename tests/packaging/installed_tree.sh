#!/usr/bin/env bash
# Installs the library into a folder, moves that, and builds and runs hosts against it: in C with
# pkg-config, in C++ with find_package, and one that Microsoft's form of linker links.
#
#   installed_tree.sh BUILD ARCHITECTURE     a built folder; x64 or x86
source "$(dirname "${BASH_SOURCE[0]}")/../../scripts/setup.sh"

build=$(realpath "$1")
architecture=$2
here=$(realpath "$(dirname "${BASH_SOURCE[0]}")")
scratch=$build/tests/installed_tree
tree=$scratch/moved/tree
failures=0
case $architecture in
    x64) compiler=x86_64-w64-mingw32 other=i686-w64-mingw32 ;;
    x86) compiler=i686-w64-mingw32 other=x86_64-w64-mingw32 ;;
esac

fail() {
    echo "$1"
    failures=$((failures + 1))
}

# Runs a program of the folder "apart", where nothing but the DLL lies beside it.
run() {
    case $architecture in
        x64) (cd "$scratch/apart" && wine "$@" </dev/null >output.txt 2>&1) ;;
        x86) "$root/scripts/test-x86" -- bash -c 'source "$1/scripts/setup.sh"; cd "$2"; shift 2; wine "$@" >output.txt 2>&1' \
            run "$root" "$scratch/apart" "$@" ;;
    esac
}

rm -rf "$scratch"
mkdir -p "$scratch/apart" "$scratch/moved"
cd "$scratch"
cmake --install "$build" --prefix "$scratch/tree" >/dev/null
mv tree "$tree"
cp "$tree/bin/orrery.dll" apart
[ "$architecture" != x64 ] || start_wine

(cd "$tree" && find . -type f | LC_ALL=C sort | grep -v '^./share/doc/OrreryInventory/docs/') >files.txt
sed "s/ARCHITECTURE/$architecture/" <<'END' | diff - files.txt || fail "the installed tree differs"
./bin/orrery.dll
./bin/orreryctl.exe
./include/orrery/inventory.h
./lib/cmake/OrreryInventory/OrreryInventoryConfig.cmake
./lib/cmake/OrreryInventory/OrreryInventoryConfigVersion.cmake
./lib/cmake/OrreryInventory/OrreryInventoryVersionNumber.cmake
./lib/liborrery.dll.a
./lib/orrery.lib
./lib/pkgconfig/orrery-inventory-ARCHITECTURE.pc
./lib/pkgconfig/orrery-inventory.pc
./share/doc/OrreryInventory/CHANGELOG.md
./share/doc/OrreryInventory/CONTRIBUTING.md
./share/doc/OrreryInventory/LICENSE
./share/doc/OrreryInventory/README.md
./share/doc/OrreryInventory/examples/Collect.cs
./share/doc/OrreryInventory/examples/collect.c
./share/doc/OrreryInventory/examples/collect.cpp
./share/doc/OrreryInventory/examples/collect.ps1
./share/doc/OrreryInventory/examples/collect.py
./share/doc/OrreryInventory/schedule/orrery-inventory.xml
./share/doc/OrreryInventory/third-party-notices.txt
END
! grep -rlF -e "$root" -e "$HOME/" -e "$scratch" "$tree" || fail "files name a folder of this machine"

export PKG_CONFIG_LIBDIR=$tree/lib/pkgconfig
read -ra flags < <(pkg-config --cflags --libs "orrery-inventory-$architecture")
! pkg-config --exists orrery-inventory-arm64 || fail "pkg-config takes the library for another processor"
$compiler-gcc-posix -std=c99 -static -o apart/c_host.exe "$here/../live/c_caller.c" "${flags[@]}"
run c_host.exe || fail "the C host ended with $?"

configure_host() {
    cmake -S "$here/host" -B "$1" -G Ninja -DCMAKE_SYSTEM_NAME=Windows "${@:2}" >host.log 2>&1
}
# Of two trees the one is taken that is for the host's processor; without it there is none to take.
cp -r "$tree" another
sed -i "s/STREQUAL $architecture)/STREQUAL arm64)/" another/lib/cmake/OrreryInventory/OrreryInventoryConfigVersion.cmake
configure_host host -DCMAKE_PREFIX_PATH="$scratch/another;$tree" -DCMAKE_CXX_COMPILER=$compiler-g++-posix &&
    cmake --build host >>host.log || { cat host.log; exit 1; }
for refused in $other-g++-posix $compiler-g++-posix; do
    folder=$tree
    [ $refused = $other-g++-posix ] || folder=$scratch/another
    ! configure_host "refused-$refused" -DCMAKE_PREFIX_PATH="$folder" -DCMAKE_CXX_COMPILER="$refused" ||
        fail "$refused may use what is not for it"
    grep -q "(for Windows on " host.log || { cat host.log; fail "it is not told for what the library is"; }
done
cmp host/orrery.dll "$tree/bin/orrery.dll" || fail "the CMake target names another DLL"
cp host/cpp_host.exe apart
run cpp_host.exe || fail "the C++ host ended with $?"
iconv -f UTF-16LE -t UTF-8 apart/report.tsv | grep -q $'^BIOS\t0\t' || fail "the C++ host's report has no BIOS"

$compiler-gcc-posix -c -o bare_host.obj -I"$tree/include" "$here/host/bare_host.c"
lld-link -subsystem:console -entry:BareStart -nodefaultlib -safeseh:no -out:apart/bare_host.exe bare_host.obj \
    "$tree/lib/orrery.lib" "/usr/$compiler/lib/libkernel32.a"
status=0
run bare_host.exe || status=$?
[ $status = 42 ] || fail "the host linked with orrery.lib ended with $status"

[ $failures = 0 ]
