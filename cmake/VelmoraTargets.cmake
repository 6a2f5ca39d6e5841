# One line makes a test, a helper program, a benchmark or a fuzz target.

# A room of the library is a folder of velmora/. Its CMakeLists.txt names its files:
#
#   velmora_room(
#     HEADERS Foo.h            what is installed
#     PYTHON_HEADERS Bar.h     what is installed and needs the headers of Boost.Python
#     SOURCES Foo.cpp Bar.h    what is not
#     TESTS FooTest.cpp        in test/, one program a file; further files of it follow, as in A.cpp+B.cpp
#     PYTHON_TESTS BarTest.cpp) the same with the headers of Boost.Python
#
# What a test starts or looks at is named in the global property VELMORA_TEST_HELPERS_<room>.<FooTest>.
function(velmora_room)
  cmake_parse_arguments(PARSE_ARGV 0 ARG "" "" "HEADERS;PYTHON_HEADERS;SOURCES;TESTS;PYTHON_TESTS")
  cmake_path(GET CMAKE_CURRENT_SOURCE_DIR FILENAME room)
  list(TRANSFORM ARG_HEADERS PREPEND "${CMAKE_CURRENT_SOURCE_DIR}/")
  list(TRANSFORM ARG_PYTHON_HEADERS PREPEND "${CMAKE_CURRENT_SOURCE_DIR}/")
  target_sources(keswardin-infra
    PRIVATE ${ARG_SOURCES}
    PUBLIC FILE_SET HEADERS BASE_DIRS "${PROJECT_SOURCE_DIR}" FILES ${ARG_HEADERS})
  if(ARG_PYTHON_HEADERS)
    target_sources(keswardin-infra-python INTERFACE
      FILE_SET HEADERS BASE_DIRS "${PROJECT_SOURCE_DIR}" FILES ${ARG_PYTHON_HEADERS})
  endif()
  foreach(kind TESTS PYTHON_TESTS)
    foreach(test IN LISTS ARG_${kind})
      string(REPLACE "+" "|${CMAKE_CURRENT_SOURCE_DIR}/test/" test "${test}")
      set_property(GLOBAL APPEND PROPERTY VELMORA_ROOM_${kind} "${room}|${CMAKE_CURRENT_SOURCE_DIR}/test/${test}")
    endforeach()
  endforeach()
endfunction()

# Every test runs in a process of its own, with an environment free of the library's variables.
# Further arguments are properties of the tests and their values.
function(velmora_register_tests target prefix)
  gtest_discover_tests(${target}
    TEST_PREFIX "${prefix}."
    TEST_LIST discovered
    DISCOVERY_TIMEOUT 60
    PROPERTIES TIMEOUT 300 ${ARGN})

  set(environment "VELMORA=unset:;VELMORA_MEM_ACCOUNTING=unset:;VELMORA_OUTDIR_STRING=unset:")
  if(VELMORA_SANITIZERS STREQUAL "thread")
    string(APPEND environment ";TSAN_OPTIONS=set:atexit_sleep_ms=0"
      " suppressions=${PROJECT_SOURCE_DIR}/tests/support/thread-sanitizer.supp")
  endif()
  if(VELMORA_SANITIZERS MATCHES "address")
    # The leak check comes before the exit list, and so before the end of Python. It sees what objects of
    # scripts hold only where Python's memory is malloc's.
    string(APPEND environment ";PYTHONMALLOC=set:malloc")
    string(APPEND environment ";LSAN_OPTIONS=set:"
      "suppressions=${PROJECT_SOURCE_DIR}/tests/support/leak-sanitizer.supp:print_suppressions=0")
  endif()
  # The names are known when ctest starts, and the command above takes no property that is a list.
  set(script "${CMAKE_CURRENT_BINARY_DIR}/${target}-environment.cmake")
  file(WRITE "${script}"
    "set_tests_properties(\${discovered} PROPERTIES ENVIRONMENT_MODIFICATION \"${environment}\")\n")
  set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES "${script}")
endfunction()

# velmora_add_test(NAME room.FooTest [ALONE] SOURCES FooTest.cpp [LIBRARIES ...] [HELPERS target ...])
# A helper is a program that the tests start; its path reaches the test as the macro
# VELMORA_HELPER_<name with underscores>. With ALONE, no other test runs beside these.
function(velmora_add_test)
  cmake_parse_arguments(PARSE_ARGV 0 ARG "ALONE" "NAME" "SOURCES;LIBRARIES;HELPERS")
  string(REPLACE "." "-" target "${ARG_NAME}")
  add_executable(${target} ${ARG_SOURCES})
  target_link_libraries(${target} PRIVATE velmora-test-support ${ARG_LIBRARIES})
  target_precompile_headers(${target} REUSE_FROM velmora-test-support)
  foreach(helper IN LISTS ARG_HELPERS)
    string(MAKE_C_IDENTIFIER "VELMORA_HELPER_${helper}" macro)
    string(TOUPPER "${macro}" macro)
    target_compile_definitions(${target} PRIVATE "${macro}=\"$<TARGET_FILE:${helper}>\"")
    add_dependencies(${target} ${helper})
  endforeach()
  velmora_register_tests(${target} ${ARG_NAME} RUN_SERIAL ${ARG_ALONE})
endfunction()

# Makes the tests that the rooms named; called once the library and the test support stand.
function(velmora_add_room_tests)
  set(libraries_of_PYTHON_TESTS Keswardin::infra-python)
  foreach(kind TESTS PYTHON_TESTS)
    get_property(tests GLOBAL PROPERTY VELMORA_ROOM_${kind})
    foreach(entry IN LISTS tests)
      string(REPLACE "|" ";" entry "${entry}")
      list(POP_FRONT entry room)
      list(GET entry 0 file)
      cmake_path(GET file STEM name)
      get_property(helpers GLOBAL PROPERTY VELMORA_TEST_HELPERS_${room}.${name})
      velmora_add_test(NAME ${room}.${name} SOURCES ${entry}
        LIBRARIES ${libraries_of_${kind}} HELPERS ${helpers})
    endforeach()
  endforeach()
endfunction()

# velmora_add_helper(name SOURCES ... [LIBRARIES ...]): a program that a process test starts.
function(velmora_add_helper name)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "" "" "SOURCES;LIBRARIES")
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE velmora-options Keswardin::infra ${ARG_LIBRARIES})
endfunction()

# velmora_add_benchmark(name SOURCES ... [LIBRARIES ...]): a part of the target "benchmarks".
function(velmora_add_benchmark name)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "" "" "SOURCES;LIBRARIES")
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE
    velmora-options Keswardin::infra benchmark::benchmark ${ARG_LIBRARIES})
  add_dependencies(benchmarks ${name})
endfunction()

# velmora_add_fuzzer(name SOURCES ... [LIBRARIES ...]): seeds stand in fuzz/corpus/<name>/.
function(velmora_add_fuzzer name)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "" "" "SOURCES;LIBRARIES")
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE velmora-options Keswardin::infra ${ARG_LIBRARIES})
  target_compile_options(${name} PRIVATE -fsanitize=fuzzer)
  target_link_options(${name} PRIVATE -fsanitize=fuzzer)
  add_dependencies(fuzz-targets ${name})
endfunction()
