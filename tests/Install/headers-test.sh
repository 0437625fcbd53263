#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Each public header compiles alone, under the warnings that applications like to turn on.
#   headers-test.sh SOURCE COMPILER STANDARD
set -eu
source=$1 compiler=$2 standard=$3
status=0
for header in "$source"/include/ORVEX/*.h; do
    name=ORVEX/$(basename "$header")
    printf '#include <%s>\n#include <%s>\n' "$name" "$name" |
        "$compiler" -std="$standard" -fsyntax-only -I"$source/include" -Wall -Wextra -Wpedantic \
            -Wconversion -Wsign-conversion -Wshadow -Wold-style-cast -Werror -x c++ - || {
        echo "headers-test: <$name> does not compile alone with $compiler -std=$standard" >&2
        status=1
    }
done
exit $status
