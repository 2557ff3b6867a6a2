# The archives: a .deb for Linux, a zip SDK for 32-bit Windows.
include_guard()

set(CPACK_PACKAGE_NAME qv)
set(CPACK_PACKAGE_VENDOR "the qv authors")
set(CPACK_PACKAGE_CONTACT "the qv authors <qv@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGE_DESCRIPTION
    "The shared library qv with its headers, the CMake package and the pkg-config file, the standard
shading library, the program qvshade, examples and the reference.")
set(CPACK_RESOURCE_FILE_LICENSE "${PROJECT_SOURCE_DIR}/LICENSE")
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)

if(WIN32)
  set(CPACK_GENERATOR ZIP)
  set(CPACK_PACKAGE_FILE_NAME "qv-${PROJECT_VERSION}-win32")
else()
  set(CPACK_GENERATOR DEB)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_PACKAGE_SECTION libdevel)
  set(CPACK_DEBIAN_PACKAGE_SUGGESTS "cmake, pkg-config")
  # The libraries that qv and its tools need are found by dpkg-shlibdeps; qv's own is in the package.
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}")
  set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
  set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY "=")
endif()
include(CPack)
