# The shared library, from the same objects as the static one. The names that it exports are versioned with the number of
# its binary interface.
configure_file(cmake/exports.map.in exports.map @ONLY)
add_library(quarnex_shared SHARED $<TARGET_OBJECTS:quarnex_objects>)
list(APPEND libraries quarnex_shared)
set_target_properties(quarnex_shared PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
  LINK_DEPENDS ${PROJECT_BINARY_DIR}/exports.map)
target_link_options(quarnex_shared PRIVATE -Wl,--version-script=${PROJECT_BINARY_DIR}/exports.map)
if(NOT QUARNEX_SANITIZE AND NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize")
  target_link_options(quarnex_shared PRIVATE -Wl,-z,defs) # so that a missing object fails this link, not that of a host
endif()
