# Installs the library with its headers, its CMake package and its pkg-config file, and the tool where it is built.
include(CMakePackageConfigHelpers)

if(QUARNEX_ASSERTIONS)
  install(CODE "message(WARNING \"This library stops on broken assumptions: set QUARNEX_ASSERTIONS=OFF\")")
endif()

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/Quarnex)
set(public_headers REGEX "\\.h$")
if(NOT QUARNEX_SIMULATION)
  list(APPEND public_headers PATTERN "*testing.h" EXCLUDE)
endif()
install(DIRECTORY include/quarnex ${PROJECT_BINARY_DIR}/include/quarnex DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  COMPONENT development FILES_MATCHING ${public_headers})
install(TARGETS quarnex_static quarnex_shared EXPORT QuarnexTargets
  ARCHIVE COMPONENT development
  LIBRARY COMPONENT runtime NAMELINK_COMPONENT development)
if(QUARNEX_SIMULATION)
  install(TARGETS quarnex_testing EXPORT QuarnexTargets ARCHIVE COMPONENT development)
  install(TARGETS quarnex_c_testing LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/quarnex COMPONENT development)
endif()
install(EXPORT QuarnexTargets NAMESPACE Quarnex:: DESTINATION ${package_folder} COMPONENT development)
configure_package_config_file(cmake/QuarnexConfig.cmake.in QuarnexConfig.cmake INSTALL_DESTINATION ${package_folder}
  NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(QuarnexConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/QuarnexConfig.cmake ${PROJECT_BINARY_DIR}/QuarnexConfigVersion.cmake
  DESTINATION ${package_folder} COMPONENT development)

# The file computes the prefix from its own location, so an installed tree can be moved.
file(RELATIVE_PATH prefix_from_pkgconfig ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/quarnex.pc.in quarnex.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/quarnex.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

if(QUARNEX_TOOLS)
  install(TARGETS quarn RUNTIME COMPONENT tools)
  install(FILES packaging/quarn.service DESTINATION ${CMAKE_INSTALL_DATADIR}/quarnex COMPONENT tools)
  install(DIRECTORY ${quarn_documents}/man1 DESTINATION ${CMAKE_INSTALL_MANDIR} COMPONENT tools)
  install(FILES ${quarn_documents}/quarn DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT tools)
  install(FILES ${quarn_documents}/_quarn DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions COMPONENT tools)
  install(FILES ${quarn_documents}/quarn.fish DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d
    COMPONENT tools)
endif()
