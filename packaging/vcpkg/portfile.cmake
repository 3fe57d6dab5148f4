# SPDX-License-Identifier: Apache-2.0
# An overlay port: the sources are those that it lies in.
get_filename_component(SOURCE_PATH "${CURRENT_PORT_DIR}/../.." ABSOLUTE)

# BUILD_SHARED_LIBS comes from the triplet.
vcpkg_cmake_configure(SOURCE_PATH "${SOURCE_PATH}" OPTIONS -DTEKO_BUILD_TESTS=OFF -DTEKO_BUILD_PROGRAM=OFF)
vcpkg_cmake_install()
vcpkg_cmake_config_fixup(CONFIG_PATH lib/cmake/teko)
vcpkg_fixup_pkgconfig()

file(REMOVE_RECURSE "${CURRENT_PACKAGES_DIR}/debug/include")
file(INSTALL "${CURRENT_PORT_DIR}/usage" DESTINATION "${CURRENT_PACKAGES_DIR}/share/${PORT}")
vcpkg_install_copyright(FILE_LIST "${SOURCE_PATH}/LICENSE")
