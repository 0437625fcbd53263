# SPDX-License-Identifier: MIT
orvex_bench(BitmapBench PEERS pixman pixman-1)

# These two come without pkg-config files.
find_path(yuv_include libyuv.h)
find_library(yuv_library yuv)
if(yuv_include AND yuv_library)
  target_include_directories(BitmapBench SYSTEM PRIVATE ${yuv_include})
  target_link_libraries(BitmapBench PRIVATE ${yuv_library})
  target_compile_definitions(BitmapBench PRIVATE BENCH_libyuv)
else()
  message(STATUS "BitmapBench: libyuv is not installed and is left out")
endif()

find_path(opencv_include opencv2/imgproc.hpp PATH_SUFFIXES opencv4)
find_library(opencv_core_library opencv_core)
find_library(opencv_imgproc_library opencv_imgproc)
if(opencv_include AND opencv_core_library AND opencv_imgproc_library)
  target_include_directories(BitmapBench SYSTEM PRIVATE ${opencv_include})
  target_link_libraries(BitmapBench PRIVATE ${opencv_imgproc_library} ${opencv_core_library})
  target_compile_definitions(BitmapBench PRIVATE BENCH_opencv)
else()
  message(STATUS "BitmapBench: OpenCV is not installed and is left out")
endif()
