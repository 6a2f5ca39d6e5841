# One line makes a test, a helper program, a benchmark or a fuzz target.

# A room of the library is a folder of velmora/. Its CMakeLists.txt names its files:
#
#   velmora_room(
#     HEADERS Foo.h            what is installed
#     SOURCES Foo.cpp Bar.h    what is not
#     TESTS FooTest.cpp)       in test/, one program a file
function(velmora_room)
  cmake_parse_arguments(PARSE_ARGV 0 ARG "" "" "HEADERS;SOURCES;TESTS")
  cmake_path(GET CMAKE_CURRENT_SOURCE_DIR FILENAME room)
  list(TRANSFORM ARG_HEADERS PREPEND "${CMAKE_CURRENT_SOURCE_DIR}/")
  target_sources(keswardin-infra
    PRIVATE ${ARG_SOURCES}
    PUBLIC FILE_SET HEADERS BASE_DIRS "${PROJECT_SOURCE_DIR}" FILES ${ARG_HEADERS})
  foreach(test IN LISTS ARG_TESTS)
    set_property(GLOBAL APPEND PROPERTY VELMORA_ROOM_TESTS "${room}|${CMAKE_CURRENT_SOURCE_DIR}/test/${test}")
  endforeach()
endfunction()

# Every test runs in a process of its own, with an environment free of the library's variables.
function(velmora_register_tests target prefix)
  gtest_discover_tests(${target}
    TEST_PREFIX "${prefix}."
    DISCOVERY_TIMEOUT 60
    PROPERTIES
      TIMEOUT 300
      ENVIRONMENT_MODIFICATION
        "VELMORA=unset:;VELMORA_MEM_ACCOUNTING=unset:;VELMORA_OUTDIR_STRING=unset:")
endfunction()

# velmora_add_test(NAME room.FooTest SOURCES FooTest.cpp [LIBRARIES ...] [HELPERS target ...])
# A helper is a program that the tests start; its path reaches the test as the macro
# VELMORA_HELPER_<name with underscores>.
function(velmora_add_test)
  cmake_parse_arguments(PARSE_ARGV 0 ARG "" "NAME" "SOURCES;LIBRARIES;HELPERS")
  string(REPLACE "." "-" target "${ARG_NAME}")
  add_executable(${target} ${ARG_SOURCES})
  target_link_libraries(${target} PRIVATE velmora-test-support ${ARG_LIBRARIES})
  foreach(helper IN LISTS ARG_HELPERS)
    string(MAKE_C_IDENTIFIER "VELMORA_HELPER_${helper}" macro)
    string(TOUPPER "${macro}" macro)
    target_compile_definitions(${target} PRIVATE "${macro}=\"$<TARGET_FILE:${helper}>\"")
    add_dependencies(${target} ${helper})
  endforeach()
  string(REGEX REPLACE "\\..*" "" room "${ARG_NAME}")
  velmora_register_tests(${target} ${room})
endfunction()

# Makes the tests that the rooms named; called once the library and the test support stand.
function(velmora_add_room_tests)
  get_property(tests GLOBAL PROPERTY VELMORA_ROOM_TESTS)
  foreach(entry IN LISTS tests)
    string(REPLACE "|" ";" entry "${entry}")
    list(GET entry 0 room)
    list(GET entry 1 file)
    cmake_path(GET file STEM name)
    velmora_add_test(NAME ${room}.${name} SOURCES ${file})
  endforeach()
endfunction()

# velmora_add_helper(name SOURCES ... [LIBRARIES ...]): a program that a process test starts.
function(velmora_add_helper name)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "" "" "SOURCES;LIBRARIES")
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE velmora-options Keswardin::infra ${ARG_LIBRARIES})
endfunction()

# velmora_add_benchmark(name SOURCES ... [LIBRARIES ...])
function(velmora_add_benchmark name)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "" "" "SOURCES;LIBRARIES")
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE
    velmora-options Keswardin::infra benchmark::benchmark ${ARG_LIBRARIES})
endfunction()

# velmora_add_fuzzer(name SOURCES ... [LIBRARIES ...]): seeds stand in fuzz/corpus/<name>/.
function(velmora_add_fuzzer name)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "" "" "SOURCES;LIBRARIES")
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE velmora-options Keswardin::infra ${ARG_LIBRARIES})
  target_compile_options(${name} PRIVATE -fsanitize=fuzzer)
  target_link_options(${name} PRIVATE -fsanitize=fuzzer)
  set_property(GLOBAL APPEND PROPERTY VELMORA_FUZZERS ${name})
endfunction()
