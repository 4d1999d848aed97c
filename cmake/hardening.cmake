# qlip_harden(TARGETS): what makes a mistake in them hard to exploit. It is for what others run: instrumented builds have
# checks of their own, and unoptimised ones have nothing to fortify.
include(CheckCXXSourceCompiles)

# The C library's headers warn where the compiler cannot do level 3.
set(CMAKE_REQUIRED_FLAGS "-O2 -Werror -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3")
check_cxx_source_compiles("#include <cstring>
  int main() { return 0; }" QLIP_FORTIFIES_AT_3)
unset(CMAKE_REQUIRED_FLAGS)
if(QLIP_FORTIFIES_AT_3)
  set(qlip_fortify 3)
else()
  set(qlip_fortify 2)
endif()

function(qlip_harden)
  if(QLIP_INSTRUMENTED)
    return()
  endif()
  foreach(target ${ARGN})
    # Some compilers define a level of their own.
    target_compile_options(${target} PRIVATE -fstack-protector-strong
      $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE> $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=${qlip_fortify}>)
    get_target_property(type ${target} TYPE)
    if(type MATCHES "SHARED_LIBRARY|MODULE_LIBRARY|EXECUTABLE")
      target_link_options(${target} PRIVATE LINKER:-z,relro,-z,now,-z,noexecstack)
    endif()
  endforeach()
endfunction()
