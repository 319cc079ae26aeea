# `cpack -G DEB` builds the packages libqor, libqor-dev and qor-tools. The dependencies of libqor and
# qor-tools are found from their binaries. libqor-dev depends on libace-dev, whose headers its headers
# include.

string(TIMESTAMP year "%Y" UTC)
string(TIMESTAMP changelog_date "%a, %d %b %Y %H:%M:%S +0000" UTC)
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME qor)
set(CPACK_PACKAGE_VENDOR qor)
set(CPACK_PACKAGE_CONTACT "The developers of qor <qor@example.org>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL runtime devel)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# dpkg-shlibdeps finds libqor.so in the build tree, since the library is not installed. The dependency
# on libqor itself is that of the component.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/src/qor)
# Packages of programs depend on exactly this version, which is also the version in the soname.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY "=")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ
    GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

# qor_package(COMPONENT NAME SECTION TEXT): declares a package, with the documents that Debian requires.
function(qor_package component name section text)
  string(TOUPPER ${component} key)
  set(CPACK_DEBIAN_${key}_PACKAGE_NAME ${name} PARENT_SCOPE)
  set(CPACK_DEBIAN_${key}_PACKAGE_SECTION ${section} PARENT_SCOPE)
  set(CPACK_COMPONENT_${key}_DESCRIPTION
"qor has text, time, exceptions, logs, threads, timers, framed TCP, ciphers, and
four data formats, which share one description of each type.

${text}" PARENT_SCOPE)

  set(documents ${PROJECT_BINARY_DIR}/packages/${name})
  configure_file(cmake/copyright.in ${documents}/copyright @ONLY)
  configure_file(cmake/changelog.in ${documents}/changelog @ONLY)
  execute_process(COMMAND gzip -9nf ${documents}/changelog COMMAND_ERROR_IS_FATAL ANY)
  install(FILES ${documents}/copyright ${documents}/changelog.gz
          DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name} COMPONENT ${component})
endfunction()

qor_package(runtime libqor libs "This package has the library.")
qor_package(devel libqor-dev libdevel
"This package has the headers, the files for CMake and pkg-config, and pretty
printers for gdb.")
set(CPACK_DEBIAN_DEVEL_PACKAGE_DEPENDS libace-dev)
set(CPACK_COMPONENT_DEVEL_DEPENDS runtime)
set(control ${PROJECT_BINARY_DIR}/packages/triggers)
file(WRITE ${control} "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${control})

if(TARGET qor_tools)
  list(APPEND CPACK_COMPONENTS_ALL tools)
  qor_package(tools qor-tools utils
"This package has qor-inspect, which shows and converts files of these formats,
qor-log, which reads logs, qor-ping, and a dissector for Wireshark.")
  set(CPACK_DEBIAN_TOOLS_PACKAGE_SUGGESTS wireshark)
  set(CPACK_COMPONENT_TOOLS_DEPENDS runtime)
endif()
include(CPack)
