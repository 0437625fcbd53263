# SPDX-License-Identifier: MIT
# 32-bit ARM with Debian's cross compiler; ./tools/sysroot unpacks the libraries for it.
# Programs run under qemu's user emulation, so that ctest works as on the device.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)

set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)

set(orvex_sysroot ${CMAKE_CURRENT_LIST_DIR}/../../build/sysroot-armhf)
get_filename_component(orvex_sysroot ${orvex_sysroot} ABSOLUTE)
set(CMAKE_FIND_ROOT_PATH ${orvex_sysroot})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_LIBDIR} ${orvex_sysroot}/usr/lib/arm-linux-gnueabihf/pkgconfig)

# The C library comes from the cross compiler; what the other libraries need in turn is found here.
string(APPEND CMAKE_CXX_FLAGS_INIT " -isystem ${orvex_sysroot}/usr/include/arm-linux-gnueabihf")
foreach(kind IN ITEMS EXE SHARED MODULE)
  string(APPEND CMAKE_${kind}_LINKER_FLAGS_INIT
    " -Wl,-rpath-link,${orvex_sysroot}/usr/lib/arm-linux-gnueabihf:${orvex_sysroot}/lib/arm-linux-gnueabihf")
endforeach()

set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm;-L;${orvex_sysroot})
