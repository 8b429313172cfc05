# Toolchain of the preset arm64: Debian's cross compiler (./setup arm), and the Arm libraries and headers that
# tools/sysroot keeps outside the tree. Nothing of Arm is installed on this machine.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)

set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)

# CMake reads this file again for each of its own trials; one look is enough.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES HOUSE_SYSROOT)
if(NOT HOUSE_SYSROOT)
  find_program(HOUSE_CROSS_COMPILER ${CMAKE_CXX_COMPILER})
  if(NOT HOUSE_CROSS_COMPILER)
    message(FATAL_ERROR "The compiler for Arm, ${CMAKE_CXX_COMPILER}, is missing; run ./setup arm.")
  endif()
  execute_process(COMMAND ${CMAKE_CURRENT_LIST_DIR}/../tools/sysroot
    OUTPUT_VARIABLE HOUSE_SYSROOT OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "There is no sysroot for Arm; tools/sysroot says above why.")
  endif()
endif()
set(CMAKE_SYSROOT ${HOUSE_SYSROOT})

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_LIBDIR} ${CMAKE_SYSROOT}/usr/lib/aarch64-linux-gnu/pkgconfig:${CMAKE_SYSROOT}/usr/share/pkgconfig)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${CMAKE_SYSROOT})
