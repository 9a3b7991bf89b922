#!/bin/sh
# SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
#
# exports.sh LIBRARY LIST: the library exports what the lists of its folders name and nothing else, carries the name
# under which programs were linked, and needs nothing but the C library.
set -eu
library=$1
list=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
status=0

same() { # what, expected, actual
  diff "$2" "$3" >"$work/diff" && return
  echo "$1 (< expected, > found):"
  grep '^[<>]' "$work/diff"
  status=1
}

sort -u "$list" >"$work/expected"
nm -D --defined-only "$library" | awk '$2 != "A" { sub(/@.*/, "", $3); print $3 }' | sort -u >"$work/actual"
[ -s "$work/expected" ] || { echo "$list is empty"; exit 1; }
same "exported names" "$work/expected" "$work/actual"

objdump -p "$library" >"$work/headers"
echo libtamrunmt.so.5 >"$work/expected"
awk '$1 == "SONAME" { print $2 }' "$work/headers" >"$work/actual"
same "name of the library" "$work/expected" "$work/actual"

: >"$work/expected"
awk '$1 == "NEEDED" { print $2 }' "$work/headers" | grep -vxE 'libc\.so\.6|libm\.so\.6|ld-linux-x86-64\.so\.2' \
  >"$work/actual" || true
same "further libraries needed" "$work/expected" "$work/actual"

exit $status
