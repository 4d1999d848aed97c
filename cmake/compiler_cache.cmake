# Our own builds run the compilers through ccache where it is installed, told that precompiled headers are as good as their
# sources, and that a clone of the project in another folder is the same project.
find_program(QLIP_CCACHE ccache)
mark_as_advanced(QLIP_CCACHE)
foreach(language C CXX)
  if(PROJECT_IS_TOP_LEVEL AND QLIP_CCACHE AND "${CMAKE_${language}_COMPILER_LAUNCHER}" MATCHES "^(ccache)?$")
    set(CMAKE_${language}_COMPILER_LAUNCHER
      ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros CCACHE_BASEDIR=${PROJECT_SOURCE_DIR} CCACHE_NOHASHDIR=1
      ${QLIP_CCACHE})
  endif()
endforeach()

# qlip_precompile(<target> <as for target_precompile_headers>): compiles headers once for all sources of a target.
function(qlip_precompile target)
  target_precompile_headers(${target} ${ARGN})
  # Without these, ccache cannot tell whether a precompiled header changed.
  target_compile_options(${target} PRIVATE $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-fpch-preprocess>
    "$<$<COMPILE_LANG_AND_ID:CXX,Clang>:SHELL:-Xclang -fno-pch-timestamp>")
  # GCC warns of what the standard library inlines when it comes precompiled.
  target_compile_options(${target} PRIVATE
    $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wno-array-bounds;-Wno-stringop-overflow;-Wno-restrict>)
endfunction()
