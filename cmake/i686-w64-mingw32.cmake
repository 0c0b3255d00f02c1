# Builds for 32-bit Windows with the cross-compiler of the distribution.
set(CMAKE_SYSTEM_PROCESSOR i686)
include(${CMAKE_CURRENT_LIST_DIR}/mingw.cmake)
