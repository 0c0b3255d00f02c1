# Settings of builds for Windows 7 and later.
add_compile_definitions(_WIN32_WINNT=0x0601 WIN32_LEAN_AND_MEAN NOMINMAX)
# 64-bit times on 32-bit Windows as well, whose C library otherwise ends in 2038. (64-bit Windows ignores this.)
add_compile_definitions(__MINGW_USE_VC2005_COMPAT)

# A cross-compiler must not see the other headers of the build machine, so the libraries that consist of headers get a folder
# of links.
function(use_host_headers target folder)
  find_path(headers_of_${folder} ${folder} PATHS /usr/include REQUIRED NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
  file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/host_headers)
  file(CREATE_LINK ${headers_of_${folder}}/${folder} ${PROJECT_BINARY_DIR}/host_headers/${folder} SYMBOLIC)
  add_library(${target} INTERFACE IMPORTED GLOBAL)
  target_include_directories(${target} INTERFACE ${PROJECT_BINARY_DIR}/host_headers)
endfunction()
use_host_headers(nlohmann_json::nlohmann_json nlohmann)
use_host_headers(CLI11::CLI11 CLI)
