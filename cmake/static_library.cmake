# libqlip.a: one object, in which all names but the exports are local. A static library has no other way to hide them from
# its host. Instrumented builds, whose libraries nobody else links, keep their objects apart.
if(QLIP_INSTRUMENTED)
  add_library(qlip_static STATIC $<TARGET_OBJECTS:qlip_objects>)
  return()
endif()

set(qlip_object ${CMAKE_CURRENT_BINARY_DIR}/qlip.o)
# Instantiations of standard templates carry the default visibility of namespace std.
set(qlip_standard _ZNSt* _ZNKSt* _ZSt* _ZTISt* _ZTSSt* _ZTVSt* _ZN9__gnu_cxx* _ZNK9__gnu_cxx*)
list(TRANSFORM qlip_standard PREPEND --localize-symbol=)
add_custom_command(OUTPUT ${qlip_object}
  COMMAND ${CMAKE_CXX_COMPILER} -r -nostdlib -Wl,--force-group-allocation -o ${qlip_object} $<TARGET_OBJECTS:qlip_objects>
  COMMAND ${CMAKE_OBJCOPY} --localize-hidden --wildcard ${qlip_standard} ${qlip_object}
  DEPENDS qlip_objects $<TARGET_OBJECTS:qlip_objects> COMMAND_EXPAND_LISTS VERBATIM)
add_library(qlip_static STATIC ${qlip_object})
set_target_properties(qlip_static PROPERTIES LINKER_LANGUAGE CXX)
