# Headers, library, and the two ways to find them: find_package(qor) and pkg-config.

include(CMakePackageConfigHelpers)

install(TARGETS qor EXPORT qorTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT devel)
install(DIRECTORY include/qor ${PROJECT_BINARY_DIR}/generated/include/qor
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT devel FILES_MATCHING PATTERN "*.h")

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/qor)
install(EXPORT qorTargets NAMESPACE qor:: DESTINATION ${package_dir} COMPONENT devel)
configure_package_config_file(cmake/qorConfig.cmake.in ${PROJECT_BINARY_DIR}/qorConfig.cmake
                              INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/qorConfigVersion.cmake
                                 COMPATIBILITY ExactVersion)
install(FILES ${PROJECT_BINARY_DIR}/qorConfig.cmake ${PROJECT_BINARY_DIR}/qorConfigVersion.cmake
        DESTINATION ${package_dir} COMPONENT devel)

# The installed tree may be moved as a whole.
file(RELATIVE_PATH prefix_from_pkgconfig ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig
     ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/qor.pc.in ${PROJECT_BINARY_DIR}/qor.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qor.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT devel)

# `cpack -G DEB` makes the pair libqor and libqor-dev. Which libraries the first one needs is read
# from it; the headers show ACE's.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME qor)
set(CPACK_PACKAGE_VENDOR qor)
set(CPACK_PACKAGE_CONTACT "The developers of qor <qor@localhost>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL runtime devel)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libqor)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_DEVEL_PACKAGE_NAME libqor-dev)
set(CPACK_DEBIAN_DEVEL_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVEL_PACKAGE_DEPENDS libace-dev)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "${PROJECT_DESCRIPTION}: the library")
set(CPACK_COMPONENT_DEVEL_DESCRIPTION "${PROJECT_DESCRIPTION}: what programs are built with")
set(CPACK_COMPONENT_DEVEL_DEPENDS runtime)
include(CPack)
