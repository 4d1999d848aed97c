include(CMakePackageConfigHelpers)

get_property(qlip_libraries GLOBAL PROPERTY qlip_offered)
install(TARGETS ${qlip_libraries} EXPORT qlip-targets
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

# The .pc files find the prefix from their own place, so that the installed tree can be moved. Where the libraries' folder
# was given as an absolute path they name the prefix, which is known at the installation.
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  set(pc_prefix "\${CMAKE_INSTALL_PREFIX}")
else()
  file(RELATIVE_PATH pc_up "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" /)
  string(REGEX REPLACE "/$" "" pc_up "${pc_up}")
  set(pc_prefix "\\\${pcfiledir}/${pc_up}")
endif()
foreach(folder LIBDIR INCLUDEDIR)
  set(pc_${folder} "${CMAKE_INSTALL_${folder}}")
  if(NOT IS_ABSOLUTE "${pc_${folder}}")
    string(PREPEND pc_${folder} "\\\${prefix}/")
  endif()
endforeach()
# A host of a static library needs what a shared one brings with it.
set(pc_private "-lstdc++ -lm")
set(pc_libs "")
if(NOT shared IN_LIST QLIP_KINDS)
  set(pc_libs " ${pc_private}")
endif()
install(CODE "
  set(PC_LIBS \"${pc_libs}\")
  set(PC_PRIVATE \"${pc_private}\")
  set(PC_PREFIX \"${pc_prefix}\")
  set(PC_LIBDIR \"${pc_LIBDIR}\")
  set(PC_INCLUDEDIR \"${pc_INCLUDEDIR}\")
  set(PROJECT_DESCRIPTION \"${PROJECT_DESCRIPTION}\")
  set(PROJECT_VERSION \"${PROJECT_VERSION}\")
  foreach(name qlip qlip-host)
    configure_file(\"${CMAKE_CURRENT_SOURCE_DIR}/cmake/\${name}.pc.in\" \"${CMAKE_CURRENT_BINARY_DIR}/\${name}.pc\" @ONLY)
  endforeach()" COMPONENT pkgconfig)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/qlip.pc ${CMAKE_CURRENT_BINARY_DIR}/qlip-host.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT pkgconfig)
