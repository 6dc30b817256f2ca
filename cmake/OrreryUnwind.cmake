# LLVM's unwinder as the Zig toolchain links it exports its functions from every DLL that throws. This is
# the same one without; a linker that finds these functions here takes them from nowhere else.
cmake_path(GET ORRERY_ZIG PARENT_PATH orrery_unwind_folder)
string(APPEND orrery_unwind_folder /lib/libunwind)
set(orrery_unwind_assembly UnwindRegistersRestore.S UnwindRegistersSave.S)
set(orrery_unwind_code libunwind.cpp Unwind-seh.cpp UnwindLevel1.c UnwindLevel1-gcc-ext.c)
list(TRANSFORM orrery_unwind_assembly PREPEND ${orrery_unwind_folder}/src/)
list(TRANSFORM orrery_unwind_code PREPEND ${orrery_unwind_folder}/src/)
add_library(orrery_unwind STATIC ${orrery_unwind_code} ${orrery_unwind_assembly})
set_source_files_properties(${orrery_unwind_assembly} PROPERTIES
  LANGUAGE C COMPILE_OPTIONS "-x;assembler-with-cpp")
target_include_directories(orrery_unwind PRIVATE ${orrery_unwind_folder}/include)
target_compile_definitions(orrery_unwind PRIVATE _LIBUNWIND_HIDE_SYMBOLS _LIBUNWIND_IS_NATIVE_ONLY)
target_compile_options(orrery_unwind PRIVATE -w -fno-exceptions
  $<$<COMPILE_LANGUAGE:CXX>:-fno-rtti>)
