# Adds the files that Debian requires of every package to the staged components, before cpack packs them.
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC) # SOURCE_DATE_EPOCH, where it is set
set(changelog "quarnex (${CPACK_PACKAGE_VERSION}) unstable; urgency=medium

  * Version ${CPACK_PACKAGE_VERSION}.

 -- ${CPACK_PACKAGE_CONTACT}  ${date}
")

foreach(component ${CPACK_COMPONENTS_ALL})
  string(TOUPPER ${component} upper)
  set(stage ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/${component})
  set(documents ${stage}/usr/share/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  file(WRITE ${documents}/changelog "${changelog}")
  file(COPY_FILE ${CMAKE_CURRENT_LIST_DIR}/../LICENSE ${documents}/copyright)
  file(GLOB pages ${stage}/usr/share/man/man1/*.1)
  execute_process(COMMAND gzip -9 -n ${documents}/changelog ${pages} COMMAND_ERROR_IS_FATAL ANY)
endforeach()

# The libraries that the shared library needs. dpkg-shlibdeps expects a source package around it.
set(runtime ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/runtime)
file(WRITE ${runtime}/debian/control "")
file(MAKE_DIRECTORY ${runtime}/DEBIAN)
file(GLOB_RECURSE libraries ${runtime}/usr/*.so.${CPACK_PACKAGE_VERSION})
execute_process(COMMAND dpkg-shlibdeps -O ${libraries} WORKING_DIRECTORY ${runtime} OUTPUT_VARIABLE depends
  OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
file(REMOVE_RECURSE ${runtime}/debian ${runtime}/DEBIAN)
string(REPLACE "shlibs:Depends=" "" CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "${depends}")
