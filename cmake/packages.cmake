# Debian packages, made by cpack in the build folder: the shared library, the files that developers need, and the tool.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "Quarnex maintainers <maintainers@users.noreply.c-seed-ee993f91.example>")
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/packaging/debian_files.cmake)
set(CPACK_COMPONENTS_ALL runtime development)
if(QUARNEX_TOOLS)
  list(APPEND CPACK_COMPONENTS_ALL tools)
endif()

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SOURCE quarnex)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each description below has its own first line
set(about "Quarnex keeps TCP links between a host program and its peers. The host
queues texts and polls for received ones. The library listens or calls,
supervises, repeats and reconnects, on the host's own thread.")

# CPack's own shlibs support adds scripts that call ldconfig, but Debian requires a trigger. So debian_files.cmake determines
# the dependencies of this package.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libquarnex${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_RECOMMENDS zlib1g)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "TCP links to Quarn peers (shared library)
${about}

This package contains the shared library.")
file(WRITE ${PROJECT_BINARY_DIR}/debian/triggers "activate-noawait ldconfig\n")
file(WRITE ${PROJECT_BINARY_DIR}/debian/shlibs "libquarnex ${PROJECT_VERSION_MAJOR} \
${CPACK_DEBIAN_RUNTIME_PACKAGE_NAME} (>= ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})\n")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_BINARY_DIR}/debian/triggers ${PROJECT_BINARY_DIR}/debian/shlibs)

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libquarnex-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${CPACK_DEBIAN_RUNTIME_PACKAGE_NAME} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS ON) # of the test kit for C and Python
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "TCP links to Quarn peers (development files)
${about}

This package contains the headers, the static library, the test kit for
hosts in C++, C and Python, the CMake package and the pkg-config file.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME quarnex-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION net)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "TCP links to Quarn peers (console tool)
${about}

This package contains quarn, which keeps a link from the command line,
offers the library as JSON-RPC, and replays and simulates links.")
include(CPack)
