# Installs the library, its header, its CMake package and its pkg-config file.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/orvdb_client)

install(TARGETS orvdb_client EXPORT orvdb_client
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES ${PROJECT_SOURCE_DIR}/include/orvdb_client.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

install(EXPORT orvdb_client NAMESPACE orvdb:: FILE orvdb_client-config.cmake DESTINATION ${package_dir})
write_basic_package_version_file(orvdb_client-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/orvdb_client-config-version.cmake DESTINATION ${package_dir})

# Like the CMake package, the file finds the rest from where it lies.
set(pc_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH pc_to_prefix /${pc_dir} /)
configure_file(${PROJECT_SOURCE_DIR}/cmake/orvdb_client.pc.in orvdb_client.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/orvdb_client.pc DESTINATION ${pc_dir})
