# SPDX-License-Identifier: Apache-2.0
# Debian packages of the three components; scripts/packages configures for them and builds them.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME teko)
set(CPACK_PACKAGE_VENDOR "teko developers")
set(CPACK_PACKAGE_CONTACT "teko developers <developers@teko.invalid>")
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL Library Development Program)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SOURCE teko)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
# before: documents, stripping, compressed manual pages, times; after: what CPack cannot say
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/packaging/debian/finish.cmake)
set(CPACK_POST_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/packaging/debian/repack.cmake)
set(TEKO_DEBIAN_VERSION ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})
set(CPACK_TEKO_FINISH ${PROJECT_SOURCE_DIR}/packaging/debian/finish)
set(CPACK_TEKO_REPACK ${PROJECT_SOURCE_DIR}/packaging/debian/repack)
set(CPACK_TEKO_ARGUMENTS ${PROJECT_BINARY_DIR}/package ${TEKO_DEBIAN_VERSION})

set(aboutTeko "Files of this codec for raw samples, grey of 8 or 16 bits and RGB of 8, are
lossless when they are whole, and a coarser image when they are cut at any
byte. It keeps exact budgets in one pass, and is fast on one core.")

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libteko${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION "codec for still images, shared library
${aboutTeko}

This package has the library for programs in C and C++.")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${PROJECT_BINARY_DIR}/package/symbols
  ${PROJECT_BINARY_DIR}/package/shlibs ${PROJECT_SOURCE_DIR}/packaging/debian/triggers)

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libteko-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${CPACK_DEBIAN_LIBRARY_PACKAGE_NAME} (= ${TEKO_DEBIAN_VERSION})")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "codec for still images, development files
${aboutTeko}

This package has what programs are built with: headers for C and C++, the
static library, and the files by which CMake and pkg-config find them.")

set(CPACK_DEBIAN_PROGRAM_PACKAGE_NAME teko)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PROGRAM_DESCRIPTION "codec for still images, programs
${aboutTeko}

This package has two programs, teko for raw files and tekoimg for PNG, TIFF,
PNM, PAM and .npy, which compress, decompress and compare, and the definition
of the format.")
include(CPack)
