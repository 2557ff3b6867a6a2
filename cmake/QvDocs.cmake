# Target "docs": the reference of the public headers, in <build>/docs/html. It fails on an
# undocumented class or function.
include_guard()
include(QvPublicHeaders)
find_package(Doxygen QUIET)
if(NOT DOXYGEN_FOUND)
  return()
endif()

set(QV_DOXYGEN_INPUT)
set(inputs)
foreach(header docs/mainpage.dox docs/groups.dox ${qv_public_headers})
  if(NOT header MATCHES "^docs/")
    set(header "src/${header}")
  endif()
  list(APPEND inputs "${PROJECT_SOURCE_DIR}/${header}")
  string(APPEND QV_DOXYGEN_INPUT " \\\n    \"${PROJECT_SOURCE_DIR}/${header}\"")
endforeach()
file(MAKE_DIRECTORY "${PROJECT_BINARY_DIR}/docs")
configure_file(docs/Doxyfile.in "${PROJECT_BINARY_DIR}/Doxyfile" @ONLY)
set(write_reference
    "${CMAKE_COMMAND}" "-DDOXYGEN=${DOXYGEN_EXECUTABLE}" "-DDOXYFILE=${PROJECT_BINARY_DIR}/Doxyfile"
    "-DLOG=${PROJECT_BINARY_DIR}/docs/warnings.txt" -P "${PROJECT_SOURCE_DIR}/cmake/RunDoxygen.cmake")
add_custom_command(
  OUTPUT "${PROJECT_BINARY_DIR}/docs/html/index.html"
  COMMAND ${write_reference}
  DEPENDS ${inputs} "${PROJECT_BINARY_DIR}/Doxyfile"
  COMMENT "Writing the reference"
  VERBATIM)
add_custom_target(docs DEPENDS "${PROJECT_BINARY_DIR}/docs/html/index.html")

# The text is the same whatever is compiled: once is enough.
if(QV_BUILD_TESTS AND NOT CMAKE_CROSSCOMPILING AND NOT QV_SANITIZE)
  add_test(NAME reference COMMAND ${write_reference})
endif()
