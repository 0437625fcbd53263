#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Makes the reference and fails on any warning of Doxygen's.   docs-test.sh BUILD OUTPUT
set -eu
cmake --build "$1" --target docs >"$2/docs.log" 2>&1 || { cat "$2/docs.log"; exit 1; }
if [ -s "$2/warnings.txt" ]; then
    cat "$2/warnings.txt"
    echo "docs-test: Doxygen warns of the above" >&2
    exit 1
fi
for picture in blending clipping scaling text label; do
    [ -s "$2/html/$picture.png" ] || { echo "docs-test: the reference lacks $picture.png" >&2; exit 1; }
done
[ -s "$2/html/page_preparing.html" ] || grep -ql 'Preparing PNG files' "$2"/html/*.html
