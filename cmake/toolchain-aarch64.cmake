# Toolchain for cross-compiling to AArch64: Debian's cross compiler, the sysroot of tools/sysroot, and
# QEMU to run the programs. The variable or environment variable KOVA_SYSROOT selects another sysroot.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)

set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES KOVA_SYSROOT)
if(NOT KOVA_SYSROOT)
  set(KOVA_SYSROOT ${CMAKE_CURRENT_LIST_DIR}/../build/sysroot-arm64)
  if(DEFINED ENV{KOVA_SYSROOT})
    set(KOVA_SYSROOT $ENV{KOVA_SYSROOT})
  endif()
endif()
get_filename_component(KOVA_SYSROOT ${KOVA_SYSROOT} ABSOLUTE)
if(NOT EXISTS ${KOVA_SYSROOT}/usr/include)
  message(FATAL_ERROR "There is no sysroot in ${KOVA_SYSROOT}: run tools/sysroot")
endif()

set(CMAKE_SYSROOT ${KOVA_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${KOVA_SYSROOT})
set(ENV{PKG_CONFIG_LIBDIR}
    ${KOVA_SYSROOT}/usr/lib/aarch64-linux-gnu/pkgconfig:${KOVA_SYSROOT}/usr/share/pkgconfig)

set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -L ${KOVA_SYSROOT})
