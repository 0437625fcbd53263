#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# All C++ files look as clang-format lays them out.   format-test.sh SOURCE CLANG-FORMAT
set -eu
cd "$1"
find include src tests examples bench fuzz docs -name '*.h' -o -name '*.cpp' |
    xargs "$2" --dry-run -Werror
