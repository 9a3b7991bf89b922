#!/bin/sh
# SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
#
# entry_points.sh README LIBTAMGNU: every name that libgfortran exports has a row in the table of the file README, which
# says rightly whether libtamgnu defines it; each pattern of the table fits some name, and libtamgnu defines no other.
set -eu
peer=$("${TAMRUN_FC:-gfortran}" -print-file-name=libgfortran.so.5)
names() { nm -D --defined-only "$2" | sed -n "s/@.*//; s/^.* _gfortran_/$1 /p"; }
{
  sed -n '/^## Entry points/,/^## How/s/^| \(`.*`\) | \([a-z, ]*\) |.*/row \2|\1/p' "$1"
  names ours "$2"
  names theirs "$peer"
} | awk '
  function complain(text) { print text; bad = 1 }
  $1 == "row" {
    split(substr($0, 5), half, "|")
    words = split(half[2], word, " ")
    for (i = 1; i <= words; ++i) {
      gsub(/`/, "", word[i])
      glob[++globs] = word[i]
      gsub(/\*/, ".*", word[i])
      pattern[globs] = "^" word[i] "$"
      server[globs] = half[1]
    }
  }
  $1 == "ours" { ours[$2] = 1 }
  $1 == "theirs" {
    theirs[$2] = ++count
    for (i = 1; i <= globs; ++i) if ($2 ~ pattern[i]) break
    if (i > globs) { complain("no row for " $2); next }
    used[i] = 1
    if ((server[i] == "peer") == ($2 in ours)) complain($2 " is not served by: " server[i])
  }
  END {
    for (i = 1; i <= globs; ++i) if (!(i in used)) complain("no name for " glob[i])
    for (name in ours) if (!(name in theirs)) complain("libgfortran has no " name)
    if (globs == 0 || count == 0) complain("nothing to compare")
    exit bad
  }'
