# A header-only library that the building system has installed in /usr/include, for the cross
# compiler. It is copied into the build tree, because /usr/include itself on the include
# path would put the building system's C headers before those of Windows. Elsewhere the library's
# own CMake package is used.
#
#   name            the interface target to make
#   header          the library's folder or only file below /usr/include
#   package         the CMake package to look for when that is not there
#   package_target  the target that this package defines
#   ARGN            where the headers are included from, if that is the library's folder itself
function(add_host_headers name header package package_target)
  add_library(${name} INTERFACE)
  if(CMAKE_HOST_UNIX AND EXISTS /usr/include/${header})
    file(COPY /usr/include/${header} DESTINATION ${CMAKE_BINARY_DIR}/host_headers/${name})
    target_include_directories(${name} SYSTEM INTERFACE
      ${CMAKE_BINARY_DIR}/host_headers/${name}/${ARGN})
  else()
    find_package(${package} CONFIG REQUIRED)
    target_link_libraries(${name} INTERFACE ${package_target})
  endif()
endfunction()
