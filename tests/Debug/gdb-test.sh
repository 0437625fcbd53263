#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# What GDB shows of each kind of value, and a bitmap written out of a stopped program.
#   gdb-test.sh SOURCE SAMPLE EXPECTED
set -eu
export LC_ALL=C.UTF-8
source=$1 sample=$2 expected=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

commands=(-ex "source $source/debug/orvex_gdb.py" -ex 'break AllAlive' -ex run -ex 'up')
for name in text character bytes array vector list color bitmap time clock number; do
    commands+=(-ex "print $name")
done
commands+=(-ex "orvex-save-bitmap bitmap $work/out.png" -ex 'orvex-save-bitmap bitmap'
    -ex "generate-core-file $work/core" -ex kill)

gdb -nx -batch "${commands[@]}" "$sample" >"$work/log" 2>&1 || true
if grep -qE 'ptrace: Operation not permitted|warning: Error disabling address space|Could not trace' "$work/log" &&
    ! grep -q '^\$1' "$work/log"; then
    echo "gdb-test: skipped, this machine lets no debugger run programs"
    exit 77
fi
grep -E '^(\$|  |usage)' "$work/log" | sed "s|$work/||" >"$work/shown" || true
diff -u "$expected" "$work/shown" || { cat "$work/log"; echo "gdb-test: GDB shows something else" >&2; exit 1; }

# The same from the core file of a program that is no more.
gdb -nx -batch -ex "source $source/debug/orvex_gdb.py" -ex up -ex 'print text' \
    -ex "orvex-save-bitmap bitmap $work/dead.png" "$sample" "$work/core" >"$work/dead.log" 2>&1 || true
grep -qx '$1 = "Grüße" (5 characters)' "$work/dead.log" || { cat "$work/dead.log"; exit 1; }
cmp "$work/out.png" "$work/dead.png"

# A terminal without UTF-8 gets escapes.
LC_ALL=C gdb -nx -batch -ex "source $source/debug/orvex_gdb.py" -ex up -ex 'print text' \
    -ex 'print character' "$sample" "$work/core" >"$work/plain.log" 2>&1 || true
grep -qxF '$1 = "Gr\xfc\xdfe" (5 characters)' "$work/plain.log" || { cat "$work/plain.log"; exit 1; }
grep -qxF "\$2 = U+20AC '\\u20ac'" "$work/plain.log" || { cat "$work/plain.log"; exit 1; }

# The written file is a picture of 3 x 2 pixels whose last pixel is (1, 2, 3).
python3 - "$work/out.png" <<'PY'
import struct, sys, zlib
data = open(sys.argv[1], "rb").read()
assert data[:8] == b"\x89PNG\r\n\x1a\n" and struct.unpack(">II", data[16:24]) == (3, 2)
length = struct.unpack(">I", data[33:37])[0]
rows = zlib.decompress(data[41 : 41 + length])
assert rows[1:5] == bytes([18, 52, 86, 120]), rows
assert rows[-4:] == bytes([1, 2, 3, 255]), rows
PY
echo "gdb-test: all values are shown, and the bitmap was written"
