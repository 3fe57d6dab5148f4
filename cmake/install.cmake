# SPDX-License-Identifier: Apache-2.0
# What is installed, in three components: Library (the shared library), Development (what programs are built with) and
# Program.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(packageDirectory ${CMAKE_INSTALL_LIBDIR}/cmake/teko)
foreach(kind ${TEKO_KINDS})
  install(TARGETS teko_${kind} EXPORT tekoTargets
    LIBRARY COMPONENT Library NAMELINK_COMPONENT Development
    ARCHIVE COMPONENT Development
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
endforeach()
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/teko ${PROJECT_BINARY_DIR}/include/teko
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT Development FILES_MATCHING PATTERN *.h PATTERN *.hpp)

# What C programs have to name besides the static library: the C++ library that it was compiled with.
set(cxxLibraries ${CMAKE_CXX_IMPLICIT_LINK_LIBRARIES})
list(FILTER cxxLibraries INCLUDE REGEX "^(stdc[+][+]|c[+][+]|m)$")

install(EXPORT tekoTargets NAMESPACE teko:: DESTINATION ${packageDirectory} COMPONENT Development)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/tekoConfig.cmake.in
  ${PROJECT_BINARY_DIR}/package/tekoConfig.cmake INSTALL_DESTINATION ${packageDirectory})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/package/tekoConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)

# Paths in teko.pc start where it lies, so that the prefix can be moved; paths that are not below the prefix stay.
file(RELATIVE_PATH pcPrefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" pcPrefix ${pcPrefix})
foreach(directory LIBDIR INCLUDEDIR)
  set(pc${directory} \${prefix}/${CMAKE_INSTALL_${directory}})
  if(IS_ABSOLUTE ${CMAKE_INSTALL_${directory}})
    set(pc${directory} ${CMAKE_INSTALL_${directory}})
  endif()
endforeach()
list(TRANSFORM cxxLibraries PREPEND -l OUTPUT_VARIABLE pcLibraries)
list(JOIN pcLibraries " " pcLibraries)
# With the static library alone, everything has to be named always.
set(pcPublic "")
if(TEKO_KINDS STREQUAL "static")
  set(pcPublic " ${pcLibraries}")
  set(pcLibraries "")
endif()
configure_file(${PROJECT_SOURCE_DIR}/cmake/teko.pc.in ${PROJECT_BINARY_DIR}/package/teko.pc @ONLY)

install(FILES ${PROJECT_BINARY_DIR}/package/tekoConfig.cmake ${PROJECT_BINARY_DIR}/package/tekoConfigVersion.cmake
  DESTINATION ${packageDirectory} COMPONENT Development)
install(FILES ${PROJECT_BINARY_DIR}/package/teko.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT Development)

if(buildsProgram)
  install(TARGETS teko COMPONENT Program)
  install(FILES ${PROJECT_BINARY_DIR}/teko.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT Program)
  install(FILES ${PROJECT_SOURCE_DIR}/docs/format.md ${PROJECT_SOURCE_DIR}/docs/workedExample.md
    DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT Program)
endif()
