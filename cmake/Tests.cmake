# GoogleTest from its sources, so that it is compiled like what it tests, for every system and sanitizer.
set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)

if(WIN32 AND CMAKE_CROSSCOMPILING)
  find_program(DECODER_WINE wine REQUIRED)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_SOURCE_DIR}/cmake/run-under-wine ${CMAKE_BINARY_DIR}/wine)
endif()

# add_decoder_test(NAME SOURCES ... [USES ...] [LABELS ...])
#
# One test program, one entry of CTest.
function(add_decoder_test name)
  cmake_parse_arguments(PARSE_ARGV 1 test "" "" "SOURCES;USES;LABELS")
  add_executable(${name} ${test_SOURCES})
  target_link_libraries(${name} PRIVATE decoder_options ${test_USES} GTest::gmock GTest::gtest_main)
  add_test(NAME ${name} COMMAND ${name})
  set_tests_properties(${name} PROPERTIES TIMEOUT 1200 LABELS "${test_LABELS}")
endfunction()
