include(CMakePackageConfigHelpers)

install(TARGETS qlip qlip_static qlip_host qlip_host_static EXPORT qlip-targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY include/qlip DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")
install(FILES bindings/python/qlip.py DESTINATION ${CMAKE_INSTALL_DATADIR}/qlip/python)
install(EXPORT qlip-targets NAMESPACE qlip:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/qlip)

configure_package_config_file(cmake/qlipConfig.cmake.in ${PROJECT_BINARY_DIR}/qlipConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/qlip)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/qlipConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/qlipConfig.cmake ${PROJECT_BINARY_DIR}/qlipConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/qlip)

configure_file(cmake/qlip.pc.in ${PROJECT_BINARY_DIR}/qlip.pc @ONLY)
configure_file(cmake/qlip-host.pc.in ${PROJECT_BINARY_DIR}/qlip-host.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qlip.pc ${PROJECT_BINARY_DIR}/qlip-host.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
