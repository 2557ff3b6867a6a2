# GoogleTest from the sources that Debian installs, and the two ways to add a test.
include_guard()

set(QV_GOOGLETEST_DIR /usr/src/googletest CACHE PATH "GoogleTest's sources (Debian: package googletest)")
if(NOT EXISTS "${QV_GOOGLETEST_DIR}/CMakeLists.txt")
  message(FATAL_ERROR "GoogleTest's sources are not in ${QV_GOOGLETEST_DIR} (Debian: package googletest). "
                      "QV_BUILD_TESTS=OFF builds qv without tests.")
endif()
set(BUILD_GMOCK OFF CACHE BOOL "")
set(INSTALL_GTEST OFF CACHE BOOL "")
set(CMAKE_COMPILE_WARNING_AS_ERROR_SAVED ${CMAKE_COMPILE_WARNING_AS_ERROR})
set(CMAKE_COMPILE_WARNING_AS_ERROR OFF)
add_subdirectory("${QV_GOOGLETEST_DIR}" "${PROJECT_BINARY_DIR}/googletest" EXCLUDE_FROM_ALL SYSTEM)
set(CMAKE_COMPILE_WARNING_AS_ERROR ${CMAKE_COMPILE_WARNING_AS_ERROR_SAVED})

# qv_add_test(NAME SOURCES...): a GoogleTest program against the shared library, as one test.
# It finds its data below QV_TEST_DATA, and runs with the 1 MB stack of a plain Windows program.
#
# Test code is compiled for quick builds: full optimisation and variables in the debugger double
# the time of scripts/test and make no test faster that takes long.
function(qv_add_test name)
  add_executable(${name} ${ARGN})
  target_compile_options(${name} PRIVATE -O1 -g1)
  target_link_libraries(${name} PRIVATE qv GTest::gtest_main qv_compile_options)
  target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}/tests")
  target_compile_definitions(
    ${name} PRIVATE QV_TEST_DATA="${PROJECT_SOURCE_DIR}/tests/data/"
                    QV_STDLIB="${PROJECT_SOURCE_DIR}/stdlib/stdlib.qvs"
                    QV_TEST_OUTPUT="${PROJECT_BINARY_DIR}/test-output/")
  if(WIN32)
    target_link_options(${name} PRIVATE -Wl,--stack,1048576)
  endif()
  file(MAKE_DIRECTORY "${PROJECT_BINARY_DIR}/test-output")
  add_test(NAME ${name} COMMAND ${name})
  set_tests_properties(${name} PROPERTIES TIMEOUT 300)
endfunction()

# qv_add_internal_test(NAME SOURCES...): the same for what the library does not export; the
# library's objects are linked in.
function(qv_add_internal_test name)
  qv_add_test(${name} ${ARGN})
  set_property(TARGET ${name} PROPERTY LINK_LIBRARIES qv_objects GTest::gtest_main qv_compile_options)
  target_compile_definitions(${name} PRIVATE QV_BUILDING_LIBRARY)
endfunction()

# qv_add_sweep_test(NAME SOURCES...): an internal test that lets memory run out
# (tests/AllocationSweep.h). The runtime is linked into it, so that there is one `new`; but for that
# of the threads, whose locks cannot do without memory.
function(qv_add_sweep_test name)
  qv_add_internal_test(${name} ${ARGN} "${PROJECT_SOURCE_DIR}/tests/AllocationSweep.cpp")
  target_link_options(${name} PRIVATE -Wl,--wrap=malloc,--wrap=calloc,--wrap=realloc)
  if(WIN32)
    target_link_options(${name} PRIVATE -static-libgcc -static-libstdc++)
  endif()
endfunction()

# qv_add_output_test(NAME TARGET EXPECTED [ARGS arguments...] [RESULT exit-code]): runs the program
# TARGET; its standard output must be the bytes of the file EXPECTED below tests/data.
function(qv_add_output_test name target expected)
  cmake_parse_arguments(PARSE_ARGV 3 arg "" "RESULT" "ARGS")
  if(NOT DEFINED arg_RESULT)
    set(arg_RESULT 0)
  endif()
  set(command $<TARGET_FILE:${target}> ${arg_ARGS})
  if(CMAKE_CROSSCOMPILING)
    list(PREPEND command ${CMAKE_CROSSCOMPILING_EMULATOR})
  endif()
  file(MAKE_DIRECTORY "${PROJECT_BINARY_DIR}/test-output")
  add_test(
    NAME ${name}
    COMMAND
      "${CMAKE_COMMAND}" "-DCOMMAND=${command}" "-DEXPECTED=${PROJECT_SOURCE_DIR}/tests/data/${expected}"
      "-DACTUAL=${PROJECT_BINARY_DIR}/test-output/${name}.txt" -DRESULT=${arg_RESULT} -P
      "${PROJECT_SOURCE_DIR}/cmake/RunAndCompare.cmake")
  set_tests_properties(${name} PROPERTIES TIMEOUT 300)
endfunction()
