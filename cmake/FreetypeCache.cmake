# SPDX-License-Identifier: MIT
# Text drawing looks glyphs up in FreeType's cache, which firmware builds of FreeType may lack.
include(CheckCXXSourceCompiles)

set(CMAKE_REQUIRED_LIBRARIES Freetype::Freetype)
set(CMAKE_REQUIRED_QUIET ON)
check_cxx_source_compiles([[
  #include <ft2build.h>
  #include FT_FREETYPE_H
  #include FT_CACHE_H
  int main() { return FTC_Manager_New(nullptr, 0, 0, 0, nullptr, nullptr, nullptr); }
]] ORVEX_FREETYPE_HAS_CACHE)
unset(CMAKE_REQUIRED_LIBRARIES)
unset(CMAKE_REQUIRED_QUIET)

if(NOT ORVEX_FREETYPE_HAS_CACHE)
  message(FATAL_ERROR
    "This FreeType was built without its cache subsystem (FTC_Manager_New is missing), and "
    "libORVEX draws text through it. Build FreeType with src/cache/ftcache.c (the line "
    "\"AUX_MODULES += cache\" in FreeType's modules.cfg switches it on).")
endif()
