# Cross build for 64-bit Windows with clang and lld, on the headers and libraries of mingw-w64 g++.
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64-x86_64.cmake)

# Clang does not take the name of Debian's folder, such as 12-posix, for a version. It looks for g++ in
# a tree of two links.
execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-libgcc-file-name
  OUTPUT_VARIABLE gcc_folder OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
cmake_path(GET gcc_folder PARENT_PATH gcc_folder)
cmake_path(GET gcc_folder FILENAME gcc_version)
string(REGEX REPLACE "-.*" "" gcc_version ${gcc_version})
set(CMAKE_SYSROOT ${CMAKE_BINARY_DIR}/clang-sysroot)
file(MAKE_DIRECTORY ${CMAKE_SYSROOT}/lib/gcc/x86_64-w64-mingw32)
file(CREATE_LINK ${gcc_folder} ${CMAKE_SYSROOT}/lib/gcc/x86_64-w64-mingw32/${gcc_version} SYMBOLIC)
file(CREATE_LINK /usr/x86_64-w64-mingw32 ${CMAKE_SYSROOT}/x86_64-w64-mingw32 SYMBOLIC)

# LLVM's shows exports and imports in another form.
find_program(CMAKE_OBJDUMP x86_64-w64-mingw32-objdump)
set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_C_COMPILER_TARGET x86_64-w64-mingw32)
set(CMAKE_CXX_COMPILER_TARGET x86_64-w64-mingw32)
# g++'s library has no other storage for variables of a thread.
set(CMAKE_CXX_FLAGS_INIT -femulated-tls)
foreach(kind EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT "-fuse-ld=lld -lwinpthread")
endforeach()
