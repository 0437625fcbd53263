# SPDX-License-Identifier: MIT
# 32-bit x86 on a 64-bit host: the host's compiler with -m32 (libc6-dev-i386 and
# lib32stdc++-12-dev) and the other libraries from ./tools/sysroot i386. The presets
# m32 and fuzz-m32 use it.
set(CMAKE_LIBRARY_ARCHITECTURE i386-linux-gnu)

get_filename_component(orvex_sysroot ${CMAKE_CURRENT_LIST_DIR}/../../build/sysroot-i386 ABSOLUTE)
set(CMAKE_FIND_ROOT_PATH ${orvex_sysroot})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The kernel's headers serve both widths and lie where only the 64-bit compiler looks.
set(orvex_m32 "-m32 -idirafter /usr/include/x86_64-linux-gnu")
string(APPEND CMAKE_CXX_FLAGS_INIT " ${orvex_m32} -isystem ${orvex_sysroot}/usr/include/i386-linux-gnu")
set(CMAKE_BUILD_RPATH ${orvex_sysroot}/usr/lib/i386-linux-gnu ${orvex_sysroot}/lib/i386-linux-gnu)
# As DT_RPATH, which also serves what these libraries themselves need.
foreach(kind IN ITEMS EXE SHARED MODULE)
  string(APPEND CMAKE_${kind}_LINKER_FLAGS_INIT
    " -m32 -Wl,--disable-new-dtags -Wl,-rpath-link,${orvex_sysroot}/usr/lib/i386-linux-gnu:${orvex_sysroot}/lib/i386-linux-gnu")
endforeach()
