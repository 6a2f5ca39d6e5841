# SPDX-License-Identifier: BSD-2-Clause

# Finds the ADAPTIVE Communication Environment, which ships no CMake package of its own.
# Defines the imported target ACE::ACE.

find_path(ACE_INCLUDE_DIR NAMES ace/Object_Manager.h)
find_library(ACE_LIBRARY NAMES ACE)

if(ACE_INCLUDE_DIR AND EXISTS "${ACE_INCLUDE_DIR}/ace/Version.h")
  foreach(part MAJOR MINOR MICRO)
    file(STRINGS "${ACE_INCLUDE_DIR}/ace/Version.h" line REGEX "#define ACE_${part}_VERSION [0-9]+")
    string(REGEX MATCH "[0-9]+$" ACE_VERSION_${part} "${line}")
  endforeach()
  set(ACE_VERSION "${ACE_VERSION_MAJOR}.${ACE_VERSION_MINOR}.${ACE_VERSION_MICRO}")
endif()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(ACE
  REQUIRED_VARS ACE_LIBRARY ACE_INCLUDE_DIR
  VERSION_VAR ACE_VERSION)

if(ACE_FOUND AND NOT TARGET ACE::ACE)
  add_library(ACE::ACE UNKNOWN IMPORTED)
  set_target_properties(ACE::ACE PROPERTIES
    IMPORTED_LOCATION "${ACE_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${ACE_INCLUDE_DIR}")
endif()

mark_as_advanced(ACE_INCLUDE_DIR ACE_LIBRARY)
