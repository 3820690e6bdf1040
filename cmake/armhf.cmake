# SPDX-License-Identifier: Apache-2.0
# armhf.cmake -- toolchain file: 32-bit ARM (ARMv7, hard float, glibc) with Debian's cross compiler,
# against the sysroot that tools/sysroot gathers. Programs run under qemu-arm.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)

# -DZOR_SYSROOT=DIR names another sysroot, for example an image's own.
set(ZOR_SYSROOT ${CMAKE_CURRENT_LIST_DIR}/../build-sysroot CACHE PATH
    "Libraries and headers of the target")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ZOR_SYSROOT)
get_filename_component(CMAKE_SYSROOT ${ZOR_SYSROOT} ABSOLUTE)
if(NOT EXISTS ${CMAKE_SYSROOT}/packages AND NOT EXISTS ${CMAKE_SYSROOT}/usr/include)
  message(FATAL_ERROR "${CMAKE_SYSROOT} is no sysroot: run tools/sysroot ${CMAKE_SYSROOT}")
endif()
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Times after 2038 and files of any size, whatever the width of long. No library that the programs
# link has either type in its interface.
set(CMAKE_C_FLAGS_INIT "-mthumb -D_FILE_OFFSET_BITS=64 -D_TIME_BITS=64")
set(CMAKE_CXX_FLAGS_INIT "-mthumb -D_FILE_OFFSET_BITS=64 -D_TIME_BITS=64")

# Absolute: tests start programs with an empty PATH too.
find_program(ZOR_QEMU qemu-arm PATHS /usr/bin NO_CMAKE_FIND_ROOT_PATH)
if(ZOR_QEMU)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${ZOR_QEMU} -L ${CMAKE_SYSROOT})
endif()
