#!/usr/bin/env bash
# Installs the library into a folder, moves that, and builds and runs hosts against it: in C with
# pkg-config, in C++ with find_package, and one that Microsoft's form of linker links.
#
#   installed_tree.sh BUILD     a built folder
source "$(dirname "${BASH_SOURCE[0]}")/../../scripts/setup.sh"

build=$(realpath "$1")
here=$(realpath "$(dirname "${BASH_SOURCE[0]}")")
scratch=$build/tests/installed_tree
tree=$scratch/moved/tree
failures=0

fail() {
    echo "$1"
    failures=$((failures + 1))
}

# Runs a program of the folder "apart", where nothing but the DLL lies beside it.
run() { (cd "$scratch/apart" && wine "$@" </dev/null >output.txt 2>&1); }

rm -rf "$scratch"
mkdir -p "$scratch/apart" "$scratch/moved"
cd "$scratch"
cmake --install "$build" --prefix "$scratch/tree" >/dev/null
mv tree "$tree"
cp "$tree/bin/orrery.dll" apart
start_wine

(cd "$tree" && find . -type f | LC_ALL=C sort | grep -v '^./share/doc/OrreryInventory/docs/') >files.txt
diff - files.txt <<'END' || fail "the installed tree differs"
./bin/orrery.dll
./bin/orreryctl.exe
./include/orrery/inventory.h
./lib/cmake/OrreryInventory/OrreryInventoryConfig.cmake
./lib/cmake/OrreryInventory/OrreryInventoryConfigVersion.cmake
./lib/liborrery.dll.a
./lib/orrery.lib
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
read -ra flags < <(pkg-config --cflags --libs orrery-inventory)
x86_64-w64-mingw32-gcc-posix -std=c99 -static -o apart/c_host.exe "$here/../live/c_caller.c" "${flags[@]}"
run c_host.exe || fail "the C host ended with $?"

cmake -S "$here/host" -B host -G Ninja -DCMAKE_SYSTEM_NAME=Windows -DCMAKE_PREFIX_PATH="$tree" \
    -DCMAKE_CXX_COMPILER=x86_64-w64-mingw32-g++-posix >host.log && cmake --build host >>host.log || { cat host.log; exit 1; }
cmp host/orrery.dll "$tree/bin/orrery.dll" || fail "the CMake target names another DLL"
cp host/cpp_host.exe apart
run cpp_host.exe || fail "the C++ host ended with $?"
iconv -f UTF-16LE -t UTF-8 apart/report.tsv | grep -q $'^BIOS\t0\t' || fail "the C++ host's report has no BIOS"

x86_64-w64-mingw32-gcc-posix -c -o bare_host.obj -I"$tree/include" "$here/host/bare_host.c"
lld-link -subsystem:console -entry:BareStart -nodefaultlib -out:apart/bare_host.exe bare_host.obj \
    "$tree/lib/orrery.lib" /usr/x86_64-w64-mingw32/lib/libkernel32.a
status=0
run bare_host.exe || status=$?
[ $status = 42 ] || fail "the host linked with orrery.lib ended with $status"

[ $failures = 0 ]
