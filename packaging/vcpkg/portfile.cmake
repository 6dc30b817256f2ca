# The library has a C interface and carries its own C runtime, so that one DLL, of the release build,
# serves every host.
vcpkg_check_linkage(ONLY_DYNAMIC_LIBRARY)
set(VCPKG_BUILD_TYPE release)
set(VCPKG_POLICY_SKIP_CRT_LINKAGE_CHECK enabled)

# TO BE FILLED AT RELEASE: the address and the hash of the release's sources.
vcpkg_download_distfile(archive
  URLS "https://example.invalid/orrery-inventory-${VERSION}.tar.gz"
  FILENAME "orrery-inventory-${VERSION}.tar.gz"
  SHA512 0)
vcpkg_extract_source_archive(source ARCHIVE "${archive}")

vcpkg_cmake_configure(SOURCE_PATH "${source}" OPTIONS -DBUILD_TESTING=OFF)
vcpkg_cmake_install()
vcpkg_cmake_config_fixup(PACKAGE_NAME OrreryInventory CONFIG_PATH lib/cmake/OrreryInventory)
vcpkg_fixup_pkgconfig()
vcpkg_copy_tools(TOOL_NAMES orreryctl AUTO_CLEAN)

file(INSTALL "${CMAKE_CURRENT_LIST_DIR}/usage" DESTINATION "${CURRENT_PACKAGES_DIR}/share/${PORT}")
vcpkg_install_copyright(FILE_LIST "${source}/LICENSE" "${source}/packaging/third-party-notices.txt")
