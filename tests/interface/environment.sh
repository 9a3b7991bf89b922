#!/bin/sh
# SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
#
# environment.sh SOURCE: docs/environment.md names the environment variables that the library reads, all and only.
# A variable's name in the code is a string of its own; FORT%d and its like count as written.
set -eu
cd "$1"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
grep -rhoE '"(FORT?_?[A-Z0-9_%]*d?|F_UFMTENDIAN|(f77|sabfort)_dump_flag|TMPDIR|HOME|LANG|IEEE_[A-Z_]*|TBK_[A-Z_]*|TAMRUN_GNU_[A-Z]*)"' \
  --include='*.cpp' --include='*.h' platform convert core units records format statements objects exceptions port adapters 2>/dev/null |
  tr -d '"' | grep -vxE 'FOR|FORM|FORMATTED|FORTRAN' | sort -u >"$work/code"
grep -oE '^\| `[A-Za-z0-9_%]+`' docs/environment.md | tr -d '|` ' | sort -u >"$work/docs"
diff "$work/code" "$work/docs" >"$work/diff" && exit
echo "environment variables (< only in the code, > only in docs/environment.md):"
grep '^[<>]' "$work/diff"
exit 1
