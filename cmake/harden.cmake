# SPDX-License-Identifier: Apache-2.0
# What the compiler and the C library can do against faults that are exploited. Each flag where the
# compiler has it for the machine that is built for.
include(CheckCXXCompilerFlag)
include(CheckCXXSourceCompiles)

set(CMAKE_REQUIRED_FLAGS -Werror)  # Clang accepts what it then does not use, with a warning
check_cxx_compiler_flag(-fstack-clash-protection ZOR_HAS_STACK_CLASH_PROTECTION)
check_cxx_compiler_flag(-fcf-protection ZOR_HAS_CF_PROTECTION)
check_cxx_compiler_flag(-mbranch-protection=standard ZOR_HAS_BRANCH_PROTECTION)
set(CMAKE_REQUIRED_FLAGS "-O1 -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3")
check_cxx_source_compiles("
  #include <string.h>
  #if __USE_FORTIFY_LEVEL != 3
  #error
  #endif
  int main() {}" ZOR_HAS_FORTIFY_3)
unset(CMAKE_REQUIRED_FLAGS)

# zor_harden(TARGET): gives an interface library the flags. Nothing for sanitizers, which find more
# and want the functions of the C library unchanged.
function(zor_harden target)
  set(fortify 2)  # also where the C library has no such checks: it ignores the macro
  if(ZOR_HAS_FORTIFY_3)
    set(fortify 3)
  endif()
  # The level that a distribution's compiler sets by itself would be redefined; without optimization
  # the C library refuses any.
  target_compile_options(${target} INTERFACE
    $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=${fortify}>
    -fstack-protector-strong
    $<$<BOOL:${ZOR_HAS_STACK_CLASH_PROTECTION}>:-fstack-clash-protection>
    $<$<BOOL:${ZOR_HAS_CF_PROTECTION}>:-fcf-protection>
    $<$<BOOL:${ZOR_HAS_BRANCH_PROTECTION}>:-mbranch-protection=standard>)
  target_link_options(${target} INTERFACE -Wl,-z,relro -Wl,-z,now)
endfunction()
