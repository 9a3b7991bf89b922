#!/bin/sh
# SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
#
# run.sh TAMFC FOLDER WORK: runs FOLDER/read_only.f90 on a file system that takes no writing. Status 77: there is no right
# to mount one here.
set -eu
tamfc=$1
folder=$2
work=$3
rm -rf "$work"
mkdir -p "$work/files"
cd "$work"
mount='mount --bind files files && mount -o remount,bind,ro files && cd files'
unshare -rm sh -c "$mount" 2>/dev/null || exit 77
"$tamfc" "$folder/read_only.f90" -o program
echo 42 >files/old

run() { # argument, status
  status=0
  # shellcheck disable=SC2016
  unshare -rm sh -c "$mount"' && exec env ${TAMRUN_PRELOAD:+LD_PRELOAD="$TAMRUN_PRELOAD"} ../program "$1"' \
    sh "$1" >stdout 2>stderr || status=$?
  [ $status = "$2" ] || { cat stdout stderr; echo "$1: status $status, expected $2"; exit 1; }
}
run told 0
printf 'read 42\nold 9\nnew 9\n' | diff - stdout
run untold 9
grep -F 'permission to access file denied, unit 20' stderr >/dev/null || { cat stderr; exit 1; }
