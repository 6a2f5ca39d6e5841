# SPDX-License-Identifier: BSD-2-Clause

# Finds the library of systemd, which ships a pkg-config file but no CMake package.
# Defines the imported target Systemd::Systemd.

find_package(PkgConfig QUIET)
if(PkgConfig_FOUND)
  pkg_check_modules(Systemd QUIET IMPORTED_TARGET libsystemd)
endif()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Systemd
  REQUIRED_VARS Systemd_LINK_LIBRARIES
  VERSION_VAR Systemd_VERSION)

if(Systemd_FOUND AND NOT TARGET Systemd::Systemd)
  add_library(Systemd::Systemd ALIAS PkgConfig::Systemd)
endif()
