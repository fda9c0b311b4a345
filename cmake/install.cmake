# Installing the library: headers, the shared libraries with their versions, a CMake package
# (find_package(quorvane) gives quorvane::quorvane and, for tests, quorvane::simulated_host)
# and a pkg-config file for each.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(TARGETS quorvane quorvane_simulated_host EXPORT quorvaneTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/quorvane ${PROJECT_BINARY_DIR}/include/quorvane
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

set(config_dir ${CMAKE_INSTALL_LIBDIR}/cmake/quorvane)
install(EXPORT quorvaneTargets NAMESPACE quorvane:: DESTINATION ${config_dir})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/quorvaneConfig.cmake.in
  ${PROJECT_BINARY_DIR}/quorvaneConfig.cmake INSTALL_DESTINATION ${config_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/quorvaneConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/quorvaneConfig.cmake
  ${PROJECT_BINARY_DIR}/quorvaneConfigVersion.cmake DESTINATION ${config_dir})

set(QUORVANE_PC_NAME quorvane)
set(QUORVANE_PC_LIBRARY quorvane)
set(QUORVANE_PC_DESCRIPTION "Inventories and manages the virtual machines of a Hyper-V host through WMI")
configure_file(${PROJECT_SOURCE_DIR}/cmake/quorvane.pc.in ${PROJECT_BINARY_DIR}/quorvane.pc @ONLY)
set(QUORVANE_PC_NAME quorvane-simulated-host)
set(QUORVANE_PC_LIBRARY quorvane_simulated_host)
set(QUORVANE_PC_DESCRIPTION "The library bound to a simulated Hyper-V host, for tests")
configure_file(${PROJECT_SOURCE_DIR}/cmake/quorvane.pc.in
  ${PROJECT_BINARY_DIR}/quorvane-simulated-host.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/quorvane.pc ${PROJECT_BINARY_DIR}/quorvane-simulated-host.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
