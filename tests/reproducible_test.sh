#!/usr/bin/env bash
# reproducible_test.sh SOURCE LIBRARY PROCESS_FILE: another build of the same sources, in other directories and with
# SOURCE_DATE_EPOCH at the time that the library's banner tells, is the same bytes.
set -euo pipefail

source=$1 library=$2 process_file=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

banner_time() {  # in seconds since 1970
  mkdir -p "$work/run"
  head -c 2000 /dev/zero >"$work/run/0522_48000HZ.bin"
  local banner
  banner=$(cd "$work/run" && "$1" 2>&1 | sed -n 's/.*RELEASE DATE \(.*\), \(.*\) $/\1 \2/p')
  date -u -d "$banner UTC" +%s
}
build() {
  SOURCE_DATE_EPOCH=$1 cmake -S "$work/source" -B "$work/build" -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF >/dev/null
  SOURCE_DATE_EPOCH=$1 cmake --build "$work/build" --target process_file >/dev/null
}

mkdir "$work/source"
tar -C "$source" --exclude=./build --exclude='./build-*' --exclude=./out --exclude=./.git -c . | tar -C "$work/source" -x

build "$(banner_time "$process_file")"
cmp "$library" "$work/build/libzelkaudio_effect_eqdrc.so"
build 1000000007
[[ $(banner_time "$work/build/process_file") == 1000000007 ]]
