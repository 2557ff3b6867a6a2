# As the library's own, but packages may stand anywhere.
include("${CMAKE_CURRENT_LIST_DIR}/../../cmake/i686-w64-mingw32.cmake")
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)
