# Installs the headers, the library, and the files for find_package(qor) and for pkg-config.

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
                                 COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/qorConfig.cmake ${PROJECT_BINARY_DIR}/qorConfigVersion.cmake
        DESTINATION ${package_dir} COMPONENT devel)

# Relative paths, so that the installed tree can be moved, unless the directories are absolute.
file(RELATIVE_PATH prefix_from_pkgconfig ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig
     ${CMAKE_INSTALL_PREFIX})
cmake_path(APPEND pkgconfig_libdir "\${prefix}" "${CMAKE_INSTALL_LIBDIR}")
cmake_path(APPEND pkgconfig_includedir "\${prefix}" "${CMAKE_INSTALL_INCLUDEDIR}")
configure_file(cmake/qor.pc.in ${PROJECT_BINARY_DIR}/qor.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qor.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT devel)
