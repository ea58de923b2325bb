# Installs the library with its public headers, its CMake package and its pkg-config file.
include(CMakePackageConfigHelpers)

install(TARGETS VexaIo EXPORT VexaIoTargets FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/VexaIo)
install(EXPORT VexaIoTargets NAMESPACE VexaIo:: DESTINATION ${package_folder})
configure_package_config_file(cmake/VexaIoConfig.cmake.in ${PROJECT_BINARY_DIR}/VexaIoConfig.cmake
                              INSTALL_DESTINATION ${package_folder})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/VexaIoConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/VexaIoConfig.cmake ${PROJECT_BINARY_DIR}/VexaIoConfigVersion.cmake
        DESTINATION ${package_folder})

file(RELATIVE_PATH VEXA_INCLUDE_FROM_PKGCONFIG /${CMAKE_INSTALL_LIBDIR}/pkgconfig /${CMAKE_INSTALL_INCLUDEDIR})
configure_file(cmake/vexaio.pc.in ${PROJECT_BINARY_DIR}/vexaio.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vexaio.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
