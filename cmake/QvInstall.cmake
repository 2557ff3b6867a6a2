# What a host receives: the library with its headers, the CMake package and the pkg-config file, the
# standard shading library, the tools, and the documents.
include_guard()
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)
include(QvPublicHeaders)

set(QV_CMAKE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/qv")
set(QV_DATA_DIR "${CMAKE_INSTALL_DATADIR}/qv")
set(QV_DOC_DIR "${CMAKE_INSTALL_DOCDIR}")
if(WIN32)
  set(QV_DOC_DIR ".") # a folder of qv's own: documents and examples stand at its top
  set(QV_PC_CFLAGS " -DNOMINMAX")
endif()

install(
  TARGETS qv
  EXPORT qvTargets
  RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}"
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
  ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}")
set(QV_RUNTIME_FILES qv${CMAKE_SHARED_LIBRARY_SUFFIX})
foreach(runtime ${QV_RUNTIMES})
  get_filename_component(name "${runtime}" NAME)
  list(APPEND QV_RUNTIME_FILES ${name})
  install(FILES "${runtime}" DESTINATION "${CMAKE_INSTALL_BINDIR}")
  install(
    CODE "if(CMAKE_INSTALL_DO_STRIP)
  execute_process(COMMAND \"${CMAKE_STRIP}\" \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}/${name}\")
endif()")
endforeach()
if(QV_RUNTIMES)
  # The runtimes' licences ask for their notices to travel along; Debian keeps them with the packages.
  foreach(package gcc-mingw-w64-base mingw-w64-i686-dev)
    install(FILES "/usr/share/doc/${package}/copyright" DESTINATION licenses RENAME "${package}.txt" OPTIONAL)
  endforeach()
endif()
install(
  EXPORT qvTargets
  NAMESPACE qv::
  DESTINATION "${QV_CMAKE_DIR}")

foreach(header ${qv_public_headers})
  get_filename_component(folder "${header}" DIRECTORY)
  install(FILES "src/${header}" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/qv/${folder}")
endforeach()

# The components of the package; a build without tools or image files has no such component.
set(QV_COMPONENTS library stdlib)
if(QV_WITH_IMAGE_FILES)
  list(APPEND QV_COMPONENTS images)
endif()
if(TARGET qvshade)
  list(APPEND QV_COMPONENTS tools)
  file(RELATIVE_PATH libdir_from_bin "${CMAKE_INSTALL_FULL_BINDIR}" "${CMAKE_INSTALL_FULL_LIBDIR}")
  set_target_properties(qvshade PROPERTIES INSTALL_RPATH "$ORIGIN/${libdir_from_bin}")
  install(
    TARGETS qvshade
    EXPORT qvToolTargets
    RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
  install(
    EXPORT qvToolTargets
    NAMESPACE qv::
    DESTINATION "${QV_CMAKE_DIR}")
endif()

install(FILES stdlib/stdlib.qvs DESTINATION "${QV_DATA_DIR}")
if(WIN32)
  install(FILES LICENSE DESTINATION "${QV_DOC_DIR}")
else()
  install(FILES LICENSE DESTINATION "${QV_DOC_DIR}" RENAME copyright) # where Debian looks for it
endif()
install(FILES CHANGELOG.md DESTINATION "${QV_DOC_DIR}")
install(FILES README.md WINDOWS.md DESTINATION "${QV_DOC_DIR}" OPTIONAL)
install(DIRECTORY docs DESTINATION "${QV_DOC_DIR}" FILES_MATCHING PATTERN "*.md" PATTERN "*.png" PATTERN "*.svg")
install(DIRECTORY "${PROJECT_BINARY_DIR}/docs/html/" DESTINATION "${QV_DOC_DIR}/reference" OPTIONAL)
install(
  DIRECTORY examples
  DESTINATION "${QV_DOC_DIR}"
  FILES_MATCHING
  PATTERN "*.h"
  PATTERN "*.cpp"
  PATTERN "*.qvs")
configure_file(packaging/examples.cmake "${PROJECT_BINARY_DIR}/examples.cmake" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/examples.cmake" DESTINATION "${QV_DOC_DIR}/examples" RENAME CMakeLists.txt)

set(QV_STDLIB_FILE "${QV_DATA_DIR}/stdlib.qvs")
set(QV_RUNTIME_FOLDER "${CMAKE_INSTALL_BINDIR}")
configure_package_config_file(
  packaging/qvConfig.cmake.in "${PROJECT_BINARY_DIR}/qvConfig.cmake"
  INSTALL_DESTINATION "${QV_CMAKE_DIR}"
  PATH_VARS QV_STDLIB_FILE QV_RUNTIME_FOLDER
  NO_CHECK_REQUIRED_COMPONENTS_MACRO)
# Before 1.0 a minor version may change the interface.
write_basic_package_version_file("${PROJECT_BINARY_DIR}/qvConfigVersion.cmake" COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/qvConfig.cmake" "${PROJECT_BINARY_DIR}/qvConfigVersion.cmake"
        DESTINATION "${QV_CMAKE_DIR}")

# The prefix is found from the file's own place, so that the folder can be moved.
file(RELATIVE_PATH QV_PREFIX_FROM_PC "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
string(REGEX REPLACE "/$" "" QV_PREFIX_FROM_PC "${QV_PREFIX_FROM_PC}")
configure_file(packaging/qv.pc.in "${PROJECT_BINARY_DIR}/qv.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/qv.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
