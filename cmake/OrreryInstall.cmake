# What an installation holds, and the packages that are made of it; docs/packaging.md shows the tree.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# Folders are the same whatever the builder's umask is.
set(CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

install(TARGETS orreryctl RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)
install(FILES README.md CHANGELOG.md CONTRIBUTING.md LICENSE packaging/third-party-notices.txt
  DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT runtime)
install(DIRECTORY docs examples packaging/schedule DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT runtime)

if(WIN32)
  install(TARGETS orrery
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
  if(NOT MSVC)
    install(FILES ${CMAKE_BINARY_DIR}/src/orrery.lib
      DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
  endif()
  install(DIRECTORY include/orrery DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)

  set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/OrreryInventory)
  configure_package_config_file(packaging/OrreryInventoryConfig.cmake.in
    generated/OrreryInventoryConfig.cmake
    INSTALL_DESTINATION ${package_folder}
    PATH_VARS CMAKE_INSTALL_BINDIR CMAKE_INSTALL_INCLUDEDIR CMAKE_INSTALL_LIBDIR
    NO_CHECK_REQUIRED_COMPONENTS_MACRO)
  # Of several installed trees, one is taken that suits the compiler at hand.
  write_basic_package_version_file(
    ${CMAKE_BINARY_DIR}/generated/OrreryInventoryVersionNumber.cmake
    COMPATIBILITY SameMinorVersion)
  configure_file(packaging/OrreryInventoryConfigVersion.cmake.in
    generated/OrreryInventoryConfigVersion.cmake @ONLY)
  install(FILES
    ${CMAKE_BINARY_DIR}/generated/OrreryInventoryConfig.cmake
    ${CMAKE_BINARY_DIR}/generated/OrreryInventoryConfigVersion.cmake
    ${CMAKE_BINARY_DIR}/generated/OrreryInventoryVersionNumber.cmake
    DESTINATION ${package_folder} COMPONENT development)

  # The .pc file finds its tree from its own place, wherever that was moved to.
  file(RELATIVE_PATH orrery_pc_prefix
    /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
  string(REGEX REPLACE "/$" "" orrery_pc_prefix ${orrery_pc_prefix})
  configure_file(packaging/orrery-inventory.pc.in generated/orrery-inventory.pc @ONLY)
  # By its second name a host asks for the architecture that it is built for, and gets no other.
  install(FILES ${CMAKE_BINARY_DIR}/generated/orrery-inventory.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
  install(FILES ${CMAKE_BINARY_DIR}/generated/orrery-inventory.pc
    RENAME orrery-inventory-${ORRERY_ARCHITECTURE}.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endif()

set(CPACK_PACKAGE_NAME OrreryInventory)
set(CPACK_PACKAGE_VENDOR "The Orrery Inventory authors")
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/package)
set(CPACK_VERBATIM_VARIABLES ON)
if(WIN32)
  set(orrery_system_x64 win64)
  set(orrery_system_x86 win32)
  set(orrery_system_arm64 winarm64)
  set(CPACK_SYSTEM_NAME ${orrery_system_${ORRERY_ARCHITECTURE}})
  set(CPACK_ORRERY_ARCHITECTURE ${ORRERY_ARCHITECTURE})
endif()
# One script makes the ZIP and the MSI where their tools are; elsewhere CPack's own ZIP has to do.
find_program(ORRERY_WIXL wixl)
find_program(ORRERY_MSIBUILD msibuild)
find_program(ORRERY_ZIP zip)
find_program(ORRERY_SHLIBDEPS dpkg-shlibdeps)
mark_as_advanced(ORRERY_WIXL ORRERY_MSIBUILD ORRERY_ZIP ORRERY_SHLIBDEPS)
if(WIN32 AND ORRERY_WIXL AND ORRERY_MSIBUILD AND ORRERY_ZIP)
  set(CPACK_GENERATOR External)
  set(CPACK_EXTERNAL_ENABLE_STAGING ON)
  set(CPACK_EXTERNAL_PACKAGE_SCRIPT ${CMAKE_CURRENT_SOURCE_DIR}/packaging/make_packages.cmake)
  set(CPACK_ORRERY_FILE_VERSION ${PROJECT_VERSION}.0)
  set(CPACK_MONOLITHIC_INSTALL ON)
  set(CPACK_ORRERY_SOURCE ${CMAKE_CURRENT_SOURCE_DIR})
  set(CPACK_ORRERY_WIXL ${ORRERY_WIXL})
  set(CPACK_ORRERY_MSIBUILD ${ORRERY_MSIBUILD})
  set(CPACK_ORRERY_ZIP ${ORRERY_ZIP})
elseif(NOT WIN32 AND ORRERY_SHLIBDEPS)
  # The client alone, which asks for the libraries of this release of Debian that it was linked with.
  set(CPACK_GENERATOR DEB)
  set(CPACK_PACKAGE_CONTACT "The Orrery Inventory authors")
  set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Reads inventories of Windows PCs, one or a fleet")
  set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
  set(CPACK_STRIP_FILES ON)
  set(CPACK_DEBIAN_PACKAGE_NAME orreryctl)
  set(CPACK_DEBIAN_PACKAGE_SECTION utils)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
else()
  set(CPACK_GENERATOR ZIP)
endif()
include(CPack)
