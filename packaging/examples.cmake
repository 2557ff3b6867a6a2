# The examples, built against the installed qv.
#
#   cmake -S examples -B BUILD -DCMAKE_PREFIX_PATH=PREFIX && cmake --build BUILD
cmake_minimum_required(VERSION 3.25)
project(qv_examples LANGUAGES CXX)

find_package(qv @PROJECT_VERSION_MAJOR@.@PROJECT_VERSION_MINOR@ REQUIRED)

file(GLOB examples CONFIGURE_DEPENDS *.cpp)
foreach(example ${examples})
  get_filename_component(name "${example}" NAME_WE)
  file(STRINGS "${example}" windows_header REGEX "#include <windows.h>")
  if(windows_header AND NOT WIN32)
    continue()
  endif()
  add_executable(${name} "${example}")
  target_link_libraries(${name} PRIVATE qv::qv $<$<BOOL:${WIN32}>:gdi32>)
endforeach()
