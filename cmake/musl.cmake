# SPDX-License-Identifier: Apache-2.0
# musl.cmake -- toolchain file: this machine's architecture with the musl C library, as small
# controllers' systems have it. The compiler is the system's own; what Debian has for glibc only
# comes from tools/musl-sysroot.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ${CMAKE_HOST_SYSTEM_PROCESSOR})
# -DZOR_MUSL_ROOT=DIR names another place of them.
set(ZOR_MUSL_ROOT ${CMAKE_CURRENT_LIST_DIR}/../build-musl-root CACHE PATH "Libraries for musl")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ZOR_MUSL_ROOT)
get_filename_component(root ${ZOR_MUSL_ROOT} ABSOLUTE)
if(NOT EXISTS ${root}/packages)
  message(FATAL_ERROR "${root} is not complete: run tools/musl-sysroot ${root}")
endif()
set(CMAKE_C_COMPILER musl-gcc)
set(CMAKE_CXX_COMPILER ${root}/bin/musl-g++)
set(CMAKE_FIND_ROOT_PATH ${root})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
