# SPDX-License-Identifier: MIT
# The peers' armhf builds come from ./tools/sysroot armhf bench.
find_package(PNG REQUIRED)
find_package(ZLIB REQUIRED)
find_path(PIXMAN_INCLUDE pixman.h PATH_SUFFIXES pixman-1 REQUIRED)
find_library(PIXMAN_LIBRARY pixman-1 REQUIRED)
find_path(TOMMATH_INCLUDE tommath.h PATH_SUFFIXES libtommath REQUIRED)
find_library(TOMMATH_LIBRARY tommath REQUIRED)

add_executable(ArmBench ArmBench.cpp)
target_include_directories(ArmBench SYSTEM PRIVATE ${PIXMAN_INCLUDE} ${TOMMATH_INCLUDE})
target_link_libraries(ArmBench PRIVATE
  ORVEX::ORVEX PNG::PNG ZLIB::ZLIB ${PIXMAN_LIBRARY} ${TOMMATH_LIBRARY} orvex_flags)
