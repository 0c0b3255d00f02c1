# Warnings are errors here, on GCC and Clang alike, but not in the build of a host, whose compiler may be a later one. The
# sanitizers are a switch of the whole build.
add_library(quarnex_warnings INTERFACE)
target_compile_options(quarnex_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow $<$<BOOL:${PROJECT_IS_TOP_LEVEL}>:-Werror>)

if(QUARNEX_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()
