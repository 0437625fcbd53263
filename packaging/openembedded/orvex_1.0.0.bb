# SPDX-License-Identifier: MIT
SUMMARY = "Foundation library of a small embedded Linux device"
DESCRIPTION = "Buffers, UTF-8 strings, threads, clocks, datagrams, files, checksums, big \
integers, bitmaps, PNG files and lines of text."
LICENSE = "MIT"

# The recipe lies inside the source tree; point ORVEX_SOURCE elsewhere to build another checkout.
ORVEX_SOURCE ?= "${@os.path.abspath(os.path.join(d.getVar('THISDIR'), '..', '..'))}"
LIC_FILES_CHKSUM = "file://${ORVEX_SOURCE}/LICENSE;md5=dbe5cbb3879c7dad69ee84f5c2b23b42"

inherit cmake pkgconfig externalsrc
EXTERNALSRC = "${ORVEX_SOURCE}"
EXTERNALSRC_BUILD = "${WORKDIR}/build"

DEPENDS = "freetype"

PACKAGECONFIG ??= "fast-paths"
PACKAGECONFIG[fast-paths] = "-DORVEX_RUNTIME_FAST_PATHS=ON,-DORVEX_RUNTIME_FAST_PATHS=OFF"

EXTRA_OECMAKE = "-DORVEX_TESTS=OFF -DORVEX_EXAMPLES=OFF -DBUILD_SHARED_LIBS=ON"
