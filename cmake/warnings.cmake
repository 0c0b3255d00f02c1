# Warnings are errors, on GCC and Clang alike; the sanitizers are a switch of the whole build.
add_library(quarnex_warnings INTERFACE)
target_compile_options(quarnex_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)

if(QUARNEX_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()
