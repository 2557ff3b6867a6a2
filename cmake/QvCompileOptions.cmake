# What every target of the project is compiled with. Nothing here reaches a host that links qv.
include_guard()

set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

add_library(qv_compile_options INTERFACE)
target_compile_options(
  qv_compile_options
  INTERFACE -Wall
            -Wextra
            -Wpedantic
            -Wshadow
            -Wnon-virtual-dtor
            -Woverloaded-virtual
            # GCC 12 sees overlaps in std::string that are not there.
            $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>
            # The same numbers on every platform: no fused multiply-add behind the code's back.
            -ffp-contract=off)

if(WIN32)
  # SSE2 gives the results of the 64-bit build; Windows keeps the stack 4-byte aligned on a
  # callback, and the realignment makes SSE2 spills safe there.
  add_compile_options(-msse2 -mfpmath=sse -mstackrealign)
endif()

if(QV_SANITIZE)
  add_compile_options(-fsanitize=${QV_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${QV_SANITIZE})
endif()
