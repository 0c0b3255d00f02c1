# Makes memory errors harder to exploit in optimised builds of this project's own code. Users of the library inherit none
# of these options. Sanitizers find the same errors more exactly, so they are built without. The linker for Windows hardens
# by itself, and the rest does not exist there.
if(WIN32 OR QUARNEX_SANITIZE OR CMAKE_CXX_FLAGS MATCHES "-fsanitize")
  return()
endif()

set(optimised $<NOT:$<OR:$<CONFIG:Debug>,$<CONFIG:>>>)
set(is_program $<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>)
set(is_shared_code $<BOOL:$<TARGET_PROPERTY:POSITION_INDEPENDENT_CODE>>)

add_compile_options($<${optimised}:-fstack-protector-strong> $<$<AND:${optimised},$<NOT:${is_shared_code}>>:-fPIE>)
add_link_options($<${optimised}:-Wl,-z,relro,-z,now> $<$<AND:${optimised},${is_program}>:-pie>)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64|i.86")
  add_compile_options($<${optimised}:-fcf-protection>)
endif()
# The C library takes a level that the compiler does not offer as the highest one that it does. A level that the builder
# has chosen stays; a level that the compiler brings is replaced.
if(NOT CMAKE_CXX_FLAGS MATCHES "_FORTIFY_SOURCE")
  add_compile_options($<${optimised}:-U_FORTIFY_SOURCE> $<${optimised}:-D_FORTIFY_SOURCE=3>)
endif()
