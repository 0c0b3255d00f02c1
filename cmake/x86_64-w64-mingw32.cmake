# Builds for 64-bit Windows with the cross-compiler of the distribution.
set(CMAKE_SYSTEM_PROCESSOR x86_64)
include(${CMAKE_CURRENT_LIST_DIR}/mingw.cmake)
