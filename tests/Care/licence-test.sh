#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Every source, script and build file names its licence near its top.   licence-test.sh SOURCE
set -eu
cd "$1"
status=0
while IFS= read -r file; do
    head -n 5 "$file" | grep -q 'SPDX-License-Identifier: MIT' || {
        echo "licence-test: $file has no SPDX line" >&2
        status=1
    }
done < <(find include src tests examples bench fuzz cmake tools docs packaging .ci CMakeLists.txt \
    -type f \( -name '*.h' -o -name '*.cpp' -o -name '*.c' -o -name '*.cmake' -o -name '*.sh' \
    -o -name '*.py' -o -name '*.bb' -o -name CMakeLists.txt -o -path 'tools/*' \) \
    ! -name packages ! -name '*.txt.in' ! -path '*/__pycache__/*' 2>/dev/null)
exit $status
