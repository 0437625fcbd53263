#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Installs the library from a build folder, builds three foreign projects against it, moves the
# installed tree and builds them again.   install-test.sh SOURCE BUILD COMPILER shared|static
set -eu
source=$1 build=$2 compiler=$3 kind=$4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export CXX=$compiler

fail() {
    echo "install-test: $*" >&2
    exit 1
}

# The components of one install, each in a tree of its own.
for component in Runtime Development Examples; do
    DESTDIR=$work/$component cmake --install "$build" --prefix /usr --component "$component" >/dev/null
done
if [ "$kind" = shared ]; then
    (cd "$work/Runtime/usr" && find . -name 'libORVEX.so*' | sed 's|.*/||' | sort | tr '\n' ' ') >"$work/runtime"
    [ "$(cat "$work/runtime")" = "libORVEX.so.1 libORVEX.so.1.0.0 " ] ||
        fail "the Runtime component holds $(cat "$work/runtime")"
    find "$work/Development" -name libORVEX.so | grep -q . || fail "Development lacks the libORVEX.so link"
fi
[ -f "$work/Development/usr/include/orvex-1/include/ORVEX/ORVEX.h" ] || fail "Development lacks the headers"
[ -f "$work/Development/usr/include/orvex-1/src/Pointer/Vector.h" ] || fail "Development lacks the templates"
if [ -e "$work/Runtime/usr/include" ]; then fail "Runtime holds headers"; fi

use_package() {
    cmake -S "$source/tests/Install/package" -B "$work/package-$2" -DCMAKE_PREFIX_PATH="$1" >"$work/log" 2>&1 ||
        { cat "$work/log"; fail "find_package did not find the library in $1"; }
    cmake --build "$work/package-$2" >"$work/log" 2>&1 || { cat "$work/log"; fail "the package user does not build"; }
    "$work/package-$2/user" 2>/dev/null || fail "the package user ends with $?"
}

use_pkg_config() {
    local libdir flags static=
    [ "$kind" = static ] && static=--static
    libdir=$(dirname "$(find "$1" -name orvex.pc)")
    flags=$(PKG_CONFIG_PATH=$libdir pkg-config $static --cflags --libs orvex)
    # shellcheck disable=SC2086
    "$compiler" -std=c++17 -o "$work/user-$2" "$source/tests/Install/main.cpp" $flags
    LD_LIBRARY_PATH=$libdir/.. "$work/user-$2" 2>/dev/null || fail "the pkg-config user ends with $?"
}

cmake --install "$build" --prefix "$work/here" >/dev/null
use_package "$work/here" here
use_pkg_config "$work/here" here
mv "$work/here" "$work/moved"
use_package "$work/moved" moved
use_pkg_config "$work/moved" moved

# The examples, if they are built, find the library wherever the tree stands.
words=$(find "$work/moved" -path '*/orvex-1/examples/words' -type f)
if [ -n "$words" ] && ! "$words" | cmp - "$source/examples/words/expected.txt"; then
    fail "an installed example does not run"
fi

cmake -S "$source/tests/Install/subdirectory" -B "$work/subdirectory" -DORVEX_SOURCE="$source" >"$work/log" 2>&1 ||
    { cat "$work/log"; fail "the library cannot be added as a subdirectory"; }
if grep -i 'warning' "$work/log"; then fail "adding the library as a subdirectory is not quiet"; fi
cmake --build "$work/subdirectory" -j2 >"$work/log" 2>&1 || { cat "$work/log"; fail "the subdirectory user does not build"; }
"$work/subdirectory/user" 2>/dev/null || fail "the subdirectory user ends with $?"
cmake --install "$work/subdirectory" --prefix "$work/nothing" >/dev/null 2>&1 || true
if [ -e "$work/nothing/include" ]; then fail "a guest installs headers into its host's tree"; fi
echo "install-test: package, pkg-config and subdirectory users build and run"
