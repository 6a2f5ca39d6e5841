# SPDX-License-Identifier: BSD-2-Clause

# Warnings, sanitizers and coverage, in one place for every target of the tree.

# What every target is compiled with.
add_library(velmora-options INTERFACE)
target_compile_options(velmora-options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow
  # Log lines and assertions name a source file relative to the project, wherever it was built.
  "-fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=")
if(VELMORA_WERROR)
  target_compile_options(velmora-options INTERFACE -Werror)
endif()
if(VELMORA_SANITIZERS)
  target_compile_options(velmora-options INTERFACE
    -fsanitize=${VELMORA_SANITIZERS} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(velmora-options INTERFACE -fsanitize=${VELMORA_SANITIZERS})
endif()

# What tests are compiled with on top of that: optimising them, and above all their sanitizer checks,
# would take most of the time of a build. So does more for a debugger than their lines.
add_library(velmora-test-options INTERFACE)
target_link_libraries(velmora-test-options INTERFACE velmora-options)
target_compile_options(velmora-test-options INTERFACE -O0 -g1
  # GCC collects no garbage, which takes a twelfth less time, and 50 MB more.
  $<$<CXX_COMPILER_ID:GNU>:--param=ggc-min-heapsize=4000000>)

# What helper programs and benchmarks are compiled with on top of that: sanitizers look at them, too, and
# nothing is measured with one.
add_library(velmora-program-options INTERFACE)
target_link_libraries(velmora-program-options INTERFACE velmora-options)
if(VELMORA_SANITIZERS)
  target_compile_options(velmora-program-options INTERFACE -O0)
endif()

# What the library's own sources are compiled with on top of that.
add_library(velmora-library-options INTERFACE)
target_link_libraries(velmora-library-options INTERFACE velmora-options)
target_compile_options(velmora-library-options INTERFACE
  -Wconversion
  # Members that VELMORA_GUARDED_BY names a lock for are used only while it is held. Tests look at them
  # without, and take locks twice.
  $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>)
if(VELMORA_BUILD_FUZZERS)
  # libFuzzer follows what runs in the library; in other programs the counters are idle.
  target_compile_options(velmora-library-options INTERFACE -fsanitize=fuzzer-no-link)
endif()
if(VELMORA_COVERAGE)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL Clang)
    message(SEND_ERROR "VELMORA_COVERAGE needs clang, as in the preset asan-ubsan")
  endif()
  # Every process adds its counts to one of four files.
  target_compile_options(velmora-library-options INTERFACE
    "-fprofile-instr-generate=${PROJECT_BINARY_DIR}/coverage/%4m.profraw" -fcoverage-mapping)
  target_link_options(velmora-library-options INTERFACE -fprofile-instr-generate)
endif()
