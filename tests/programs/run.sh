#!/bin/sh
# SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
#
# run.sh TAMFC SOURCE EXPECTED WORK: compiles one program with tamfc in the folder WORK, runs it there and compares its
# standard output with the file EXPECTED, byte for byte. Comments at the head of the source tell what is not the rule:
#   ! flags: F...            arguments for the compiler
#   ! with: FILE             a further source, compiled first
#   ! env: NAME=VALUE        environment of the program; several lines: a run with each
#   ! args: A...             arguments of the program
#   ! input: TEXT            standard input, with the escapes of printf (default: empty)
#   ! pipe: yes              standard input is a pipe; "both": a run with a file and one with a pipe
#   ! stdout: /dev/full      standard output goes there; "closed" closes it
#   ! compare: stderr        compare standard error
#   ! merge: yes             compare both streams in one file
#   ! sort: yes              compare sorted lines
#   ! status: N              exit status (default 0)
#   ! stderr: TEXT           standard error contains this (default: it is empty)
#   ! case: ARG N [TEXT]     one run with this argument, status and text on standard error
# TAMRUN_PRELOAD is loaded ahead of the program's libraries (a sanitizer's library).
set -u
tamfc=$1
source=$2
expected=$3
work=$4
folder=$(dirname "$source")
name=$(basename "$source" .f90)

tell() { sed -n "/^!/!q; s/^! $1: //p" "$source"; }
fail() {
  echo "$name${case:+ $case}: $*"
  exit 1
}

rm -rf "$work"
mkdir -p "$work" && cd "$work" || exit 1
with=$(tell with)
# shellcheck disable=SC2046
"$tamfc" $(tell flags) ${with:+"$folder/$with"} "$source" -o program || fail "does not compile"

run() { # status, text on standard error, arguments
  status=$1
  text=$2
  shift 2
  out=$(tell stdout)
  merge=$(tell merge)
  set -- env ${setting:+"$setting"} ${TAMRUN_PRELOAD:+"LD_PRELOAD=$TAMRUN_PRELOAD"} ./program "$@"
  printf '%b' "$(tell input)" >stdin
  if [ "$stdin" = pipe ]; then
    mkfifo pipe
    cat stdin >pipe &
  else
    ln -s stdin pipe
  fi
  if [ "$merge" = yes ]; then
    "$@" >stdout 2>&1 <pipe
  elif [ "$out" = closed ]; then
    "$@" >&- 2>stderr <pipe
  else
    "$@" >"${out:-stdout}" 2>stderr <pipe
  fi
  found=$?
  rm pipe
  [ $found = "$status" ] || { tail -n 40 std*; fail "status $found, expected $status"; }

  compared=$(tell compare)
  result=${compared:-stdout}
  [ -z "$out" ] || [ -n "$compared" ] || result=/dev/null
  if [ "$(tell sort)" = yes ]; then
    LC_ALL=C sort "$result" >sorted
    result=sorted
  fi
  if [ -e "$expected" ]; then
    diff "$expected" "$result" || fail "output differs (< expected, > found)"
  else
    [ "$result" = /dev/null ] || fail "has no $expected"
  fi
  if [ "$compared" = stderr ] || [ ! -e stderr ]; then return 0; fi
  if [ -n "$text" ]; then
    grep -qF -- "$text" stderr || { cat stderr; fail "standard error lacks: $text"; }
  elif [ -s stderr ]; then
    cat stderr
    fail "standard error is not empty"
  fi
}

cases=$(tell case)
run_cases() {
  if [ -z "$cases" ]; then
    status=$(tell status)
    eval "set -- $(tell args)"
    run "${status:-0}" "$(tell stderr)" "$@"
    return
  fi
  while read -r case status text; do
    run "$status" "$text" "$case"
  done <<END
$cases
END
}

case $(tell pipe) in
  both) ways='file pipe' ;;
  yes) ways=pipe ;;
  *) ways=file ;;
esac
for stdin in $ways; do
  while read -r setting; do
    run_cases
  done <<END
$(tell env)
END
done
