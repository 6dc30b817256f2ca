# Headers that most files include, compiled once for all of them. A file includes what it needs all the
# same: clang-tidy and Microsoft's compiler read it without these.
set(orrery_common_headers
  <algorithm> <array> <cstdint> <functional> <map> <memory> <optional> <span> <string> <string_view>
  <utility> <vector>)
set(orrery_windows_headers <winsock2.h> <windows.h> <wbemcli.h> ${orrery_common_headers})
# What asks Windows has few paths to name, and every precompiled header takes its time to read.
list(APPEND orrery_common_headers <filesystem>)

# Makes a target that holds the precompiled headers named after it and nothing else.
function(add_precompiled_headers name)
  set(no_code ${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp)
  file(CONFIGURE OUTPUT ${no_code} CONTENT "")
  add_library(${name} OBJECT EXCLUDE_FROM_ALL ${no_code})
  target_link_libraries(${name} PRIVATE orrery_options)
  if(NOT MSVC)
    target_precompile_headers(${name} PRIVATE ${ARGN})
  endif()
endfunction()

# Compiles a target with the headers that such a target holds.
function(use_precompiled_headers target holder)
  if(NOT MSVC)
    target_precompile_headers(${target} REUSE_FROM ${holder})
  endif()
  # GCC forgets that precompiled headers are the system's, and warns of what it inlines from them.
  if(MINGW AND CMAKE_CXX_COMPILER_ID STREQUAL GNU)
    target_compile_options(${target} PRIVATE
      -Wno-array-bounds -Wno-stringop-overflow -Wno-stringop-overread)
  endif()
endfunction()

add_precompiled_headers(common_precompiled ${orrery_common_headers})
if(WIN32)
  add_precompiled_headers(windows_precompiled ${orrery_windows_headers})
endif()
