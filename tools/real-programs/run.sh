#!/bin/sh
# SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
#
# run.sh [BODY...]: bodies of real Fortran code (BODY.sh here; default all) on the library and on GNU Fortran's own
# run-time. Sources come from Debian's source packages into build/real-programs. A body is compiled once, each of its
# programs linked twice and run twice; exit status, standard output and the files left behind must be the same once
# the body's `mask` has taken out what may differ (times, dates), and the body's own verdict must be good.
#
# A body defines: package (source package), build and cases, which use the functions below; mask (a sed script) and
# verdicts (an extended regular expression of lines that tell a failure), both optional.
set -u
export LC_ALL=C
here=$(cd "$(dirname "$0")" && pwd)
top=$(cd "$here/../.." && pwd)
root=$top/build/real-programs
peer=${TAMRUN_FC:-gfortran}
flags="-O1 -w -std=legacy"

say() { echo "$body: $*"; }
die() {
  say "$*" >&2
  exit 1
}

# apt-get on lists of its own, made from the machine's with the sources in place of the programs.
sources_apt() {
  mkdir -p "$root/apt/parts" "$root/apt/lists/partial"
  if [ ! -e "$root/apt/updated" ]; then
    for list in /etc/apt/sources.list.d/*.sources; do
      [ ! -e "$list" ] || sed 's/^Types:.*/Types: deb-src/' "$list" >"$root/apt/parts/$(basename "$list")"
    done
    for list in /etc/apt/sources.list /etc/apt/sources.list.d/*.list; do
      [ ! -e "$list" ] || sed -n 's/^deb /deb-src /p' "$list" >"$root/apt/parts/$(basename "$list").list"
    done
  fi
  options="-qq -o Dir::Etc::sourcelist=/dev/null -o Dir::Etc::sourceparts=$root/apt/parts \
    -o Dir::State::Lists=$root/apt/lists -o Dir::Cache::srcpkgcache= -o Dir::Cache::pkgcache= -o APT::Sandbox::User="
  # shellcheck disable=SC2086
  {
    [ -e "$root/apt/updated" ] || apt-get $options update || return 1
    touch "$root/apt/updated"
    apt-get $options "$@"
  }
}

# The source package as its authors released it, in $source.
fetch() {
  source=$root/$body/source
  [ ! -e "$source" ] || return 0
  rm -rf "$root/$body/fetched"
  mkdir -p "$root/$body/fetched"
  (cd "$root/$body/fetched" && sources_apt source --tar-only "$package" && tar xf ./*.orig.tar.* &&
    mv "$(find . -mindepth 1 -maxdepth 1 -type d)" "$source") >"$root/$body/fetch.log" 2>&1 ||
    { cat "$root/$body/fetch.log" >&2; die "no sources of $package"; }
}

# binaries PACKAGE...: unpacks packages of the distribution beneath $binaries, without installing them.
binaries() {
  binaries=$root/$body/binaries
  [ ! -e "$binaries" ] || return 0
  mkdir -p "$binaries.deb"
  (cd "$binaries.deb" && apt-get -qq -o APT::Sandbox::User= download "$@" &&
    for deb in ./*.deb; do dpkg -x "$deb" "$binaries" || exit 1; done) >"$root/$body/fetch.log" 2>&1 ||
    { cat "$root/$body/fetch.log" >&2; rm -rf "$binaries"; die "no packages $*"; }
}

# objects NAME FILE...: compiles into the folder $objects/NAME what is not there yet.
objects() {
  to=$objects/$1
  shift
  mkdir -p "$to"
  for file; do
    object=$(basename "$file")
    [ -e "$to/${object%.*}.o" ] || echo "$file"
  done >"$to/missing"
  # shellcheck disable=SC2086
  (cd "$to" && xargs -r -n 32 -P "$(nproc)" "$peer" $flags -c <missing) >"$to/log" 2>&1 ||
    { tail -20 "$to/log" >&2; die "does not compile"; }
}

# program NAME ARG...: links a program twice.
program() {
  name=$1
  shift
  mkdir -p "$work/peer" "$work/tamrun"
  "$peer" "$@" -o "$work/peer/$name" 2>"$work/log" && "$top/tamfc" "$@" -o "$work/tamrun/$name" 2>>"$work/log" ||
    { tail -20 "$work/log" >&2; die "$name does not link"; }
}

# case_of NAME PROGRAM [INPUT]: runs the program of both sides, each in an empty folder, and compares.
case_of() {
  for side in peer tamrun; do
    folder=$work/$side.runs/$1
    rm -rf "$folder"
    mkdir -p "$folder"
    # shellcheck disable=SC2154
    for file in ${files-}; do cp "$file" "$folder" || exit 1; done
    (cd "$folder" && timeout 300 "$work/$side/$2" <"${3:-/dev/null}" >stdout 2>stderr; echo $? >status)
    (cd "$folder" && for file in *; do sed -E -e "${mask:-}" "$file" >"$folder.masked" && mv "$folder.masked" "$file"; done)
  done
  lines=$(cat "$folder"/* | wc -l)
  if ! diff -r "$work/peer.runs/$1" "$folder" >"$folder.diff"; then
    say "$1: DIFFERS in $(grep -c '^[<>]' "$folder.diff") of $lines lines: $folder.diff"
    failed=yes
  elif [ "$(cat "$folder/status")" != 0 ] || { [ -n "${verdicts-}" ] && grep -qE "$verdicts" "$folder"/*; }; then
    say "$1: same as the peer, $lines lines, and both FAIL"
    failed=yes
  else
    say "$1: same as the peer, $lines lines"
  fi
}

run_body() (
  body=$1
  failed=
  work=$root/$body/work
  objects=$root/$body/objects
  mkdir -p "$work"
  . "$here/$body.sh"
  fetch
  build
  cases
  [ -z "$failed" ]
)

[ $# -gt 0 ] || set -- $(cd "$here" && ls ./*.sh | sed -n 's/^.\///; /^run.sh$/d; s/.sh$//p')
status=0
for name; do
  run_body "$name" || status=1
done
exit $status
