# GoogleTest as it is installed for this system; else, and always for a sanitizer, from its sources, so that it is
# compiled like what it tests. Debian has them as the package googletest.
set(DECODER_GOOGLETEST /usr/src/googletest CACHE PATH "The sources of GoogleTest")
if(NOT DECODER_SANITIZE)
  find_package(GTest CONFIG QUIET)
endif()
if(NOT TARGET GTest::gmock OR NOT TARGET GTest::gtest_main)
  if(NOT EXISTS ${DECODER_GOOGLETEST}/CMakeLists.txt)
    message(FATAL_ERROR "The tests need GoogleTest: install it, set DECODER_GOOGLETEST to the folder of its sources, or "
                        "set DECODER_TESTS to OFF.")
  endif()
  set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
  add_subdirectory(${DECODER_GOOGLETEST} ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
endif()

if(WIN32 AND CMAKE_CROSSCOMPILING)
  find_program(DECODER_WINE wine REQUIRED)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_SOURCE_DIR}/cmake/run-under-wine ${CMAKE_BINARY_DIR}/wine)
endif()

# Seconds. A test that takes as long hangs, even where many run side by side on a busy machine.
set(DECODER_TEST_CUT_OFF 3600)

# add_decoder_test(NAME SOURCES ... [USES ...] [LABELS ...])
#
# One test program, one entry of CTest.
function(add_decoder_test name)
  cmake_parse_arguments(PARSE_ARGV 1 test "" "" "SOURCES;USES;LABELS")
  add_executable(${name} ${test_SOURCES})
  target_link_libraries(${name} PRIVATE decoder_options ${test_USES} GTest::gmock GTest::gtest_main)
  add_test(NAME ${name} COMMAND ${name})
  set_tests_properties(${name} PROPERTIES TIMEOUT ${DECODER_TEST_CUT_OFF} LABELS "${test_LABELS}")
endfunction()
