#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# The shared library was built with the hardening that releases promise.
#   hardening-test.sh LIBRARY READELF COMPILE-COMMANDS
set -eu
library=$1 readelf=$2 commands=$3

need() {
    grep -qE "$2" <<<"$1" || {
        echo "hardening-test: $library: $3" >&2
        exit 1
    }
}

segments=$("$readelf" -lW "$library")
dynamic=$("$readelf" -dW "$library")
symbols=$("$readelf" --dyn-syms -W "$library")
need "$segments" 'GNU_RELRO' "its relocations stay writable (no RELRO)"
need "$dynamic" 'BIND_NOW|FLAGS_1.*NOW' "symbols are bound late"
need "$segments" 'GNU_STACK.*RW ' "its stack is executable"
need "$symbols" '__stack_chk_fail' "it was built without the stack protector"
# Fortified calls leave a trace only where the compiler knows a buffer's size: the flag has to do.
plain=$(grep '"command"' "$commands" | grep ' -c [^ ]*/src/' | grep -vc -- '-D_FORTIFY_SOURCE=2' || true)
[ "$plain" = 0 ] || { echo "hardening-test: $plain sources were built without fortified calls" >&2; exit 1; }
if grep -q 'TEXTREL' <<<"$dynamic"; then
    echo "hardening-test: $library has relocations in its code" >&2
    exit 1
fi
echo "hardening-test: RELRO, BIND_NOW, no executable stack, stack protector, fortified calls"
