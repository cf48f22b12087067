# What `cmake --install` lays down: the library, its headers, a CMake package and a pkg-config file.
include(CMakePackageConfigHelpers)

set(VESKO_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/vesko)

install(TARGETS vesko EXPORT veskoTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/vesko DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT veskoTargets NAMESPACE vesko:: DESTINATION ${VESKO_PACKAGE_DIR})

configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/veskoConfig.cmake.in
    ${PROJECT_BINARY_DIR}/veskoConfig.cmake INSTALL_DESTINATION ${VESKO_PACKAGE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/veskoConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/veskoConfig.cmake ${PROJECT_BINARY_DIR}/veskoConfigVersion.cmake
    DESTINATION ${VESKO_PACKAGE_DIR})

configure_file(${CMAKE_CURRENT_LIST_DIR}/vesko.pc.in ${PROJECT_BINARY_DIR}/vesko.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vesko.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
