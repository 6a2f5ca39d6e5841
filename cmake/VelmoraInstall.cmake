# SPDX-License-Identifier: BSD-2-Clause

# What cmake --install installs: the headers, the library, CMake packages, pkg-config files, documents.

include(CMakePackageConfigHelpers)

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/keswardin-infra")

install(TARGETS keswardin-infra
  EXPORT keswardin-infraTargets
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
  FILE_SET HEADERS DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
install(EXPORT keswardin-infraTargets NAMESPACE Keswardin:: DESTINATION "${package_dir}")

# The component "python", which alone asks for Python and Boost.Python where a program is built.
install(TARGETS keswardin-infra-python
  EXPORT keswardin-infra-pythonTargets
  FILE_SET HEADERS DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
install(EXPORT keswardin-infra-pythonTargets NAMESPACE Keswardin:: DESTINATION "${package_dir}")

configure_package_config_file(
  "${CMAKE_CURRENT_LIST_DIR}/keswardin-infraConfig.cmake.in"
  "${PROJECT_BINARY_DIR}/keswardin-infraConfig.cmake"
  INSTALL_DESTINATION "${package_dir}")
write_basic_package_version_file(
  "${PROJECT_BINARY_DIR}/keswardin-infraConfigVersion.cmake"
  COMPATIBILITY SameMinorVersion)
install(FILES
  "${PROJECT_BINARY_DIR}/keswardin-infraConfig.cmake"
  "${PROJECT_BINARY_DIR}/keswardin-infraConfigVersion.cmake"
  "${CMAKE_CURRENT_LIST_DIR}/FindACE.cmake"
  DESTINATION "${package_dir}")

# The file finds its prefix from its own place, so that an installation can be put anywhere and moved.
set(pc_dir "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
file(RELATIVE_PATH pc_to_prefix "/${pc_dir}" /)
foreach(pc IN ITEMS keswardin-infra keswardin-infra-python)
  configure_file("${CMAKE_CURRENT_LIST_DIR}/${pc}.pc.in" "${PROJECT_BINARY_DIR}/${pc}.pc" @ONLY)
endforeach()
install(FILES "${PROJECT_BINARY_DIR}/keswardin-infra.pc" "${PROJECT_BINARY_DIR}/keswardin-infra-python.pc"
  DESTINATION "${pc_dir}")

# The links among these documents work where they are installed, too.
install(FILES
  "${PROJECT_SOURCE_DIR}/README.md"
  "${PROJECT_SOURCE_DIR}/CHANGELOG.md"
  "${PROJECT_SOURCE_DIR}/LICENSE"
  DESTINATION "${CMAKE_INSTALL_DOCDIR}")
install(DIRECTORY "${PROJECT_SOURCE_DIR}/docs" DESTINATION "${CMAKE_INSTALL_DOCDIR}" FILES_MATCHING PATTERN *.md)
