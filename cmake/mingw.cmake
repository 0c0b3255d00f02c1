# The part that the toolchain files for Windows share. The compiler's thread model is win32, because a component built with
# the POSIX model leaks 4 handles each time it is loaded, throws an exception and is unloaded. Programs link everything but
# the system's own libraries statically.
set(CMAKE_SYSTEM_NAME Windows)
set(prefix ${CMAKE_SYSTEM_PROCESSOR}-w64-mingw32)
set(CMAKE_C_COMPILER ${prefix}-gcc-win32)
set(CMAKE_CXX_COMPILER ${prefix}-g++-win32)
set(CMAKE_RC_COMPILER ${prefix}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${prefix})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_EXE_LINKER_FLAGS_INIT -static)
set(CMAKE_SHARED_LINKER_FLAGS_INIT -static)
set(CMAKE_CROSSCOMPILING_EMULATOR wine)
