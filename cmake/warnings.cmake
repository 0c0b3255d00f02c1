# Warnings are errors with GCC and Clang, but not if a host's project includes this one, because its compiler may be newer.
# QUARNEX_SANITIZE applies to the whole build.
add_library(quarnex_warnings INTERFACE)
target_compile_options(quarnex_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow $<$<BOOL:${PROJECT_IS_TOP_LEVEL}>:-Werror>)

if(QUARNEX_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()
