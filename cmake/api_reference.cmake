# The reference of include/qlip as a web site, by Doxygen: cmake --build --preset api, then build/release/api/html/index.html.
find_program(QLIP_DOXYGEN doxygen)
configure_file(docs/Doxyfile.in ${PROJECT_BINARY_DIR}/Doxyfile @ONLY)
if(QLIP_DOXYGEN)
  add_custom_target(api_reference COMMAND ${QLIP_DOXYGEN} ${PROJECT_BINARY_DIR}/Doxyfile VERBATIM)
endif()
