# SPDX-License-Identifier: BSD-2-Clause

# Functions that make a test, a helper program, a benchmark or a fuzz target in one line.

# With it sanitizers name functions, as their suppressions do.
find_program(VELMORA_SYMBOLIZER llvm-symbolizer HINTS /usr/lib/llvm-14/bin)

# Links some hundred tests in a quarter of the time. Helper programs are linked as users do, whose stacks
# the linker leaves readable.
find_program(VELMORA_LLD ld.lld)

# Every test runs in a process of its own, with an environment free of the variables of the library and
# of Python. Further arguments are properties of the tests and their values.
function(velmora_register_tests target prefix)
  gtest_discover_tests(${target}
    TEST_PREFIX "${prefix}."
    TEST_LIST discovered
    DISCOVERY_TIMEOUT 60
    PROPERTIES TIMEOUT 300 ${ARGN})

  set(environment "VELMORA=unset:;VELMORA_MEM_ACCOUNTING=unset:;VELMORA_OUTDIR_STRING=unset:")
  string(APPEND environment ";PYTHONUNBUFFERED=unset:;PYTHONDONTWRITEBYTECODE=unset:")
  if(VELMORA_SANITIZERS STREQUAL "thread")
    string(APPEND environment ";TSAN_OPTIONS=set:atexit_sleep_ms=0"
      " suppressions=${PROJECT_SOURCE_DIR}/tests/support/thread-sanitizer.supp"
      " external_symbolizer_path=${VELMORA_SYMBOLIZER}")
  endif()
  if(VELMORA_SANITIZERS MATCHES "address")
    # The leak check comes before the exit list, and so before the end of Python. It sees what objects of
    # scripts hold only where Python's memory is malloc's.
    string(APPEND environment ";PYTHONMALLOC=set:malloc")
    string(APPEND environment ";LSAN_OPTIONS=set:"
      "suppressions=${PROJECT_SOURCE_DIR}/tests/support/leak-sanitizer.supp:print_suppressions=0"
      ":external_symbolizer_path=${VELMORA_SYMBOLIZER}")
  endif()
  # The names are known when ctest starts, and the command above takes no property that is a list.
  set(script "${CMAKE_CURRENT_BINARY_DIR}/${target}-environment.cmake")
  file(WRITE "${script}"
    "set_tests_properties(\${discovered} PROPERTIES ENVIRONMENT_MODIFICATION \"${environment}\")\n")
  set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES "${script}")
endfunction()

# velmora_add_test(NAME room.FooTest [ALONE] SOURCES FooTest.cpp [LIBRARIES ...] [HELPERS target ...])
# Makes a test program of GoogleTest, and a test of ctest for each of its tests. Helpers are targets
# that the tests start or read; the macro VELMORA_HELPER_<NAME_WITH_UNDERSCORES> is the path of one.
# With ALONE, ctest runs no other test at the same time.
function(velmora_add_test)
  cmake_parse_arguments(PARSE_ARGV 0 ARG "ALONE" "NAME" "SOURCES;LIBRARIES;HELPERS")
  string(REPLACE "." "-" target "${ARG_NAME}")
  add_executable(${target} ${ARG_SOURCES})
  target_link_libraries(${target} PRIVATE velmora-test-support ${ARG_LIBRARIES})
  target_precompile_headers(${target} REUSE_FROM velmora-test-support)
  if(VELMORA_LLD)
    target_link_options(${target} PRIVATE -fuse-ld=lld)
  endif()
  foreach(helper IN LISTS ARG_HELPERS)
    string(MAKE_C_IDENTIFIER "VELMORA_HELPER_${helper}" macro)
    string(TOUPPER "${macro}" macro)
    target_compile_definitions(${target} PRIVATE "${macro}=\"$<TARGET_FILE:${helper}>\"")
    add_dependencies(${target} ${helper})
  endforeach()
  velmora_register_tests(${target} ${ARG_NAME} RUN_SERIAL ${ARG_ALONE})
endfunction()

# velmora_add_helper(name SOURCES ... [LIBRARIES ...]): a program that a process test starts.
function(velmora_add_helper name)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "" "" "SOURCES;LIBRARIES")
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE velmora-program-options Keswardin::infra ${ARG_LIBRARIES})
endfunction()

# velmora_add_benchmark(name SOURCES ... [LIBRARIES ...]): a part of the target "benchmarks".
function(velmora_add_benchmark name)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "" "" "SOURCES;LIBRARIES")
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE
    velmora-program-options Keswardin::infra benchmark::benchmark ${ARG_LIBRARIES})
  add_dependencies(benchmarks ${name})
endfunction()

# velmora_add_fuzzer(name SOURCES ... [LIBRARIES ...]): a fuzz target whose seeds are in fuzz/corpus/<name>/.
function(velmora_add_fuzzer name)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "" "" "SOURCES;LIBRARIES")
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE velmora-options Keswardin::infra ${ARG_LIBRARIES})
  target_compile_options(${name} PRIVATE -fsanitize=fuzzer)
  target_link_options(${name} PRIVATE -fsanitize=fuzzer)
  add_dependencies(fuzz-targets ${name})
endfunction()
