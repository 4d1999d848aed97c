# The oldest compilers that build the project, library and tests.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  set(qlip_oldest 11)
elseif(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  set(qlip_oldest 14)
else()
  message(WARNING "libqlip is built with GCC and Clang; ${CMAKE_CXX_COMPILER_ID} has not been tried.")
  set(qlip_oldest 0)
endif()
if(CMAKE_CXX_COMPILER_VERSION VERSION_LESS qlip_oldest)
  message(FATAL_ERROR "libqlip needs ${CMAKE_CXX_COMPILER_ID} ${qlip_oldest} or newer, and this is "
    "${CMAKE_CXX_COMPILER_VERSION}. Choose another with -DCMAKE_CXX_COMPILER=...")
endif()
