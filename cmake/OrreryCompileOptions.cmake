include(CheckLinkerFlag)

# One interface target carries what every target of the project is compiled with.
add_library(orrery_options INTERFACE)
target_compile_features(orrery_options INTERFACE cxx_std_20)
if(WIN32)
  target_compile_definitions(orrery_options INTERFACE
    UNICODE _UNICODE NOMINMAX WIN32_LEAN_AND_MEAN _WIN32_WINNT=0x0601)
endif()

if(MSVC)
  target_compile_options(orrery_options INTERFACE /W4 /utf-8 /permissive-)
  # The plain C runtime names are used on both compilers; GetVersionExW is the interface we mean.
  target_compile_definitions(orrery_options INTERFACE _CRT_SECURE_NO_WARNINGS)
  target_compile_options(orrery_options INTERFACE /wd4996)
  if(ORRERY_ARCHITECTURE STREQUAL x86)
    # As wide as the lease times that 32-bit Windows tells.
    target_compile_definitions(orrery_options INTERFACE _USE_32BIT_TIME_T)
  endif()
  # The same sources give the same bytes: a hash takes the place of each time of building.
  target_compile_options(orrery_options INTERFACE $<$<COMPILE_LANGUAGE:C,CXX>:/Brepro>)
  target_link_options(orrery_options INTERFACE /Brepro)
  # Indirect calls and returns are checked.
  target_compile_options(orrery_options INTERFACE $<$<COMPILE_LANGUAGE:C,CXX>:/guard:cf>)
  target_link_options(orrery_options INTERFACE /guard:cf)
  # Shadow stacks are of x64 alone.
  if(MSVC_CXX_ARCHITECTURE_ID STREQUAL x64)
    target_link_options(orrery_options INTERFACE /CETCOMPAT)
  endif()
else()
  target_compile_options(orrery_options INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
  # GCC does not count these among its conversions.
  target_compile_options(orrery_options INTERFACE $<$<CXX_COMPILER_ID:Clang>:-Wno-sign-conversion>)
  # GCC looks for memory to free only when it uses a gigabyte: to look takes longer than it saves.
  target_compile_options(orrery_options INTERFACE
    $<$<COMPILE_LANG_AND_ID:CXX,GNU>:--param=ggc-min-heapsize=1048576>)
  # The same sources give the same bytes: no link time in the headers, no folder in the text, no base
  # address that comes from the path of the output. Release binaries go into packages, so the linker
  # strips them.
  target_compile_options(orrery_options INTERFACE -ffile-prefix-map=${CMAKE_SOURCE_DIR}=.)
  target_link_options(orrery_options INTERFACE $<$<CONFIG:Release>:-s>)
  target_compile_options(orrery_options INTERFACE $<$<CONFIG:Release>:-fstack-protector-strong>)
  if(WIN32)
    # Also links what the protector calls.
    target_link_options(orrery_options INTERFACE $<$<CONFIG:Release>:-fstack-protector-strong> -static)
    # GNU's linker has these; others need none of them, and some take none.
    foreach(option no-insert-timestamp disable-auto-image-base)
      check_linker_flag(CXX -Wl,--${option} ORRERY_HAS_${option})
      if(ORRERY_HAS_${option})
        target_link_options(orrery_options INTERFACE -Wl,--${option})
      endif()
    endforeach()
  else()
    # Everything ends in a program, and one way suits precompiled headers.
    target_compile_options(orrery_options INTERFACE -fPIE)
    # Undefined first: some compilers define it by themselves.
    target_compile_options(orrery_options INTERFACE
      $<$<CONFIG:Release>:-U_FORTIFY_SOURCE> $<$<CONFIG:Release>:-D_FORTIFY_SOURCE=2>)
    target_link_options(orrery_options INTERFACE -pie -Wl,-z,relro,-z,now)
  endif()
endif()

# What is shipped imports from System32 alone; a test's own program imports the library that lies beside it.
function(import_from_system_only target)
  if(MSVC)
    target_link_options(${target} PRIVATE /DEPENDENTLOADFLAG:0x800)
  endif()
endfunction()

option(ORRERY_CHECKS "Build with the run-time checks that work for Windows targets" OFF)
if(ORRERY_CHECKS AND NOT MSVC)
  target_compile_definitions(orrery_options INTERFACE _GLIBCXX_ASSERTIONS)
  target_compile_options(orrery_options INTERFACE
    -fsanitize=undefined -fsanitize-undefined-trap-on-error -fstack-protector-strong)
  target_link_options(orrery_options INTERFACE -fstack-protector-strong)
endif()
