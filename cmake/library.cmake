# The library that hosts link: the engine, the adapter of this platform and the flight recorder. It depends only on the
# standard library. Compressed recordings need zlib: its header here, and the library itself when one begins. One set of
# position-independent objects makes both the static and the shared library; on Windows there is only the static one.
configure_file(cmake/version.h.in include/quarnex/version.h @ONLY)

file(GLOB_RECURSE engine_sources CONFIGURE_DEPENDS src/services/*.cpp src/engine/*.cpp src/host/*.cpp)
file(GLOB binding_sources CONFIGURE_DEPENDS bindings/answers/*.cpp bindings/c/*.cpp bindings/component/*.cpp)
if(WIN32)
  set(platform windows)
  list(FILTER binding_sources EXCLUDE REGEX "/bindings/c/") # its loop has a descriptor
else()
  set(platform posix)
endif()
file(GLOB platform_sources CONFIGURE_DEPENDS src/platform/common/*.cpp src/platform/${platform}/*.cpp)
file(GLOB recorder_sources CONFIGURE_DEPENDS src/recording/recorder/*.cpp src/recording/format/*.cpp)
# The sources that read recordings need a JSON parser and belong to the tools.
list(FILTER recorder_sources EXCLUDE REGEX "/(line_parser|recording_reader).cpp$")

add_library(quarnex_objects OBJECT ${engine_sources} ${platform_sources} ${recorder_sources} ${binding_sources})
set_target_properties(quarnex_objects PROPERTIES
  POSITION_INDEPENDENT_CODE ON CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
find_path(QUARNEX_ZLIB_HEADERS zlib.h REQUIRED)
target_include_directories(quarnex_objects PRIVATE include ${PROJECT_BINARY_DIR}/include src bindings
  ${QUARNEX_ZLIB_HEADERS})
target_link_libraries(quarnex_objects PRIVATE quarnex_warnings)

add_library(quarnex_static STATIC $<TARGET_OBJECTS:quarnex_objects>)
set(libraries quarnex_static)
if(WIN32)
  set(system_libraries ws2_32 iphlpapi advapi32)
else()
  find_package(Threads REQUIRED)
  set(system_libraries Threads::Threads ${CMAKE_DL_LIBS})
  include(cmake/shared_library.cmake)
endif()
foreach(library ${libraries})
  set_target_properties(${library} PROPERTIES OUTPUT_NAME quarnex)
  target_compile_features(${library} PUBLIC cxx_std_17)
  target_include_directories(${library} INTERFACE $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
    $<BUILD_INTERFACE:${PROJECT_BINARY_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  target_link_libraries(${library} PRIVATE ${system_libraries})
  add_library(Quarnex::${library} ALIAS ${library})
endforeach()

# The same names as in the installed package: the shared library if BUILD_SHARED_LIBS is on, otherwise the static one.
add_library(quarnex INTERFACE)
target_link_libraries(quarnex INTERFACE $<IF:$<BOOL:${BUILD_SHARED_LIBS}>,quarnex_shared,quarnex_static>)
foreach(alias Quarnex::quarnex Quarnex::recording)
  add_library(${alias} ALIAS quarnex)
endforeach()

# For programs of this project that use more than the public headers.
add_library(quarnex_internals INTERFACE)
target_include_directories(quarnex_internals INTERFACE src)
target_link_libraries(quarnex_internals INTERFACE quarnex_static)
