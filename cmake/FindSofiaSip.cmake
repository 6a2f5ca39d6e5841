# SPDX-License-Identifier: BSD-2-Clause

# Finds the SIP stack of the example gateway, which ships a pkg-config file but no CMake package.
# Defines the imported target SofiaSip::SofiaSip.

find_package(PkgConfig QUIET)
if(PkgConfig_FOUND)
  pkg_check_modules(SofiaSip QUIET IMPORTED_TARGET sofia-sip-ua)
endif()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(SofiaSip
  REQUIRED_VARS SofiaSip_LINK_LIBRARIES
  VERSION_VAR SofiaSip_VERSION)

if(SofiaSip_FOUND AND NOT TARGET SofiaSip::SofiaSip)
  add_library(SofiaSip::SofiaSip ALIAS PkgConfig::SofiaSip)
endif()
