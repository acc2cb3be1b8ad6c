# An overlay port that lies in the source tree: vcpkg install velmore-ews[simulator] --overlay-ports=packaging/vcpkg
get_filename_component(SOURCE_PATH "${CMAKE_CURRENT_LIST_DIR}/../.." ABSOLUTE)

vcpkg_check_features(OUT_FEATURE_OPTIONS options FEATURES simulator VELMORE_BUILD_SIMULATOR)
vcpkg_cmake_configure(SOURCE_PATH "${SOURCE_PATH}" OPTIONS ${options} -DVELMORE_BUILD_TESTS=OFF -DVELMORE_BUILD_EXAMPLES=OFF -DVELMORE_BUILD_PROGRAMS=OFF)
vcpkg_cmake_install()
vcpkg_cmake_config_fixup(PACKAGE_NAME VelmoreEWS CONFIG_PATH lib/cmake/VelmoreEWS)
vcpkg_fixup_pkgconfig()
vcpkg_copy_pdbs()
if("simulator" IN_LIST FEATURES)
  vcpkg_copy_tools(TOOL_NAMES velmore-ews-simulator AUTO_CLEAN)
endif()
file(REMOVE_RECURSE "${CURRENT_PACKAGES_DIR}/debug/include" "${CURRENT_PACKAGES_DIR}/debug/share")
vcpkg_install_copyright(FILE_LIST "${SOURCE_PATH}/LICENSE")
