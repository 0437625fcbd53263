#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Compares the names that libORVEX.so gives and takes with the committed lists.
#   symbols-test.sh exports-kind LIBRARY NM       only ORVEX:: and Zr names are given
#   symbols-test.sh exports LIBRARY NM LIST       exactly the listed names are given
#   symbols-test.sh imports LIBRARY NM LIST       nothing outside the list is taken
# With UPDATE=1 in the environment the exact list is written anew; look at its difference then.
set -eu
export LC_ALL=C
what=$1 library=$2 nm=$3

# c++filt, because not every nm spells out names that carry a version.
given() { "$nm" -D --defined-only "$library" | sed 's/^[0-9a-f]* *[A-Za-z] //' | c++filt | sort -u; }
taken() { "$nm" -D --undefined-only "$library" | sed 's/^ *[A-Za-z] //; s/@.*//' | c++filt | sort -u; }

case $what in
exports-kind)
    [ "$(given | wc -l)" -gt 100 ] || { echo "symbols-test: $library gives next to nothing" >&2; exit 1; }
    if given | grep -vE '^((vtable|typeinfo|typeinfo name|guard variable) for )?((ORVEX::)|Zr)'; then
        echo "symbols-test: the names above are given, though they are neither ORVEX:: nor Zr" >&2
        exit 1
    fi
    ;;
exports)
    if [ "${UPDATE:-}" = 1 ]; then
        given >"$4"
    fi
    diff -u "$4" <(given) || { echo "symbols-test: the given names are not those of $4" >&2; exit 1; }
    ;;
imports)
    extra=$(comm -13 <(grep -v '^#' "$4" | sort -u) <(taken))
    if [ -n "$extra" ]; then
        printf '%s\n' "$extra"
        echo "symbols-test: the names above are taken, but $4 does not list them" >&2
        exit 1
    fi
    if taken | grep -E '_np$'; then
        echo "symbols-test: calls that end in _np are not portable" >&2
        exit 1
    fi
    ;;
esac
