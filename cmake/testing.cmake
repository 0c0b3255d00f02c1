# The test kit for hosts: a static library with the simulated platform. Programs that link it get the static library of
# Quarnex with it. It depends only on the standard library.
file(GLOB simulated_sources CONFIGURE_DEPENDS src/platform/simulated/*.cpp)
file(GLOB testing_sources CONFIGURE_DEPENDS src/testing/*.cpp)

add_library(quarnex_simulated OBJECT ${simulated_sources})
set_target_properties(quarnex_simulated PROPERTIES POSITION_INDEPENDENT_CODE ON)
target_link_libraries(quarnex_simulated PUBLIC quarnex_internals PRIVATE quarnex_warnings)

if(WIN32)
  return() # the kit needs threads of the C++ library
endif()
add_library(quarnex_testing STATIC ${testing_sources} $<TARGET_OBJECTS:quarnex_simulated>)
set_target_properties(quarnex_testing PROPERTIES POSITION_INDEPENDENT_CODE ON EXPORT_NAME testing)
target_compile_features(quarnex_testing PUBLIC cxx_std_17)
target_include_directories(quarnex_testing PRIVATE src)
target_link_libraries(quarnex_testing PUBLIC quarnex_static PRIVATE $<BUILD_INTERFACE:quarnex_warnings>)
add_library(Quarnex::testing ALIAS quarnex_testing)

# The same kit for hosts in C and in Python, which load it in place of the library: it has the C interface, too.
add_library(quarnex_c_testing SHARED bindings/c_testing/c_testing.cpp $<TARGET_OBJECTS:quarnex_objects>)
set_target_properties(quarnex_c_testing PROPERTIES OUTPUT_NAME quarnex_testing
  CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON LINK_DEPENDS ${PROJECT_SOURCE_DIR}/cmake/testing_exports.map)
target_include_directories(quarnex_c_testing PRIVATE src bindings)
target_link_libraries(quarnex_c_testing PRIVATE quarnex_testing quarnex_warnings Threads::Threads ${CMAKE_DL_LIBS})
target_link_options(quarnex_c_testing PRIVATE -Wl,--version-script=${PROJECT_SOURCE_DIR}/cmake/testing_exports.map)
if(NOT QUARNEX_INSTALL)
  set_target_properties(quarnex_simulated quarnex_testing PROPERTIES EXCLUDE_FROM_ALL ON)
  if(NOT QUARNEX_TESTS)
    set_target_properties(quarnex_c_testing PROPERTIES EXCLUDE_FROM_ALL ON)
  endif()
endif()
