# The install target: libraries, programs, and what a host needs to build
# against the library: its header, a CMake package and a pkg-config file. The
# components are the Debian packages (cmake/Packages.cmake).
include(CMakePackageConfigHelpers)

set(libraries zorv-orvo tavodb tavoconfig tavo-log zorv-util)
set(programs orvo-host orvo-device-root orvo-sample-app)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/zorv-orvo)

set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME zorv-orvo)
install(TARGETS ${libraries} LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(TARGETS zorv-orvo-hardened LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/orvo/hardened)

set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME orvo-host)
install(TARGETS ${programs} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES host/completion/orvo-host
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
install(DIRECTORY docs/schemas DESTINATION ${CMAKE_INSTALL_DATADIR}/orvo FILES_MATCHING PATTERN *.json)

set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME zorv-orvo-dev)
install(FILES feature/orvo.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/orvo)

configure_package_config_file(cmake/package/zorv-orvo-config.cmake.in
    ${PROJECT_BINARY_DIR}/package/zorv-orvo-config.cmake
    INSTALL_DESTINATION ${package_dir}
    PATH_VARS CMAKE_INSTALL_LIBDIR CMAKE_INSTALL_INCLUDEDIR)
write_basic_package_version_file(
    ${PROJECT_BINARY_DIR}/package/zorv-orvo-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES
    ${PROJECT_BINARY_DIR}/package/zorv-orvo-config.cmake
    ${PROJECT_BINARY_DIR}/package/zorv-orvo-config-version.cmake
    DESTINATION ${package_dir})

# The file tells where the prefix is from where it stands, so a tree may be moved.
file(RELATIVE_PATH prefix_from_pc /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(cmake/package/zorv-orvo.pc.in ${PROJECT_BINARY_DIR}/package/zorv-orvo.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/package/zorv-orvo.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
