# SPDX-License-Identifier: BSD-2-Clause

# velmora_needs(<variable> <who> <packages>): reports a dependency that is missing. <variable> is what
# find_package, find_program or pkg_check_modules has set; <packages> are the Debian packages to install.
# CMake goes on, so that one run reports everything that is missing, and fails at the end.
#
#   find_package(GTest CONFIG)
#   velmora_needs(GTest_FOUND "the tests need" libgtest-dev)
function(velmora_needs variable who packages)
  if(NOT ${variable})
    message(SEND_ERROR "${who} ${packages} (apt-get install ${packages}); the options of "
      "${PROJECT_SOURCE_DIR}/CMakeLists.txt leave tests, examples, benchmarks and fuzz targets out")
  endif()
endfunction()
