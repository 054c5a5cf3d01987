#!/usr/bin/env bash
# deb_test.sh FOLDER ARCHITECTURE: unpacks the packages in FOLDER into a clean root, builds the example host against
# what is there, and runs it and the driver; on another architecture's packages under qemu-user.
set -euo pipefail

packages=$(cd "$1" && pwd) arch=$2 here=$(cd "$(dirname "$0")" && pwd)
gnu=$(dpkg-architecture -a"$arch" -qDEB_HOST_GNU_TYPE 2>/dev/null)
run=() cc=cc
if [[ $arch != $(dpkg --print-architecture) ]]; then
  run=("qemu-$(dpkg-architecture -a"$arch" -qDEB_HOST_GNU_CPU 2>/dev/null)" -L "/usr/$gnu")
  cc=$gnu-gcc
fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
for deb in "$packages"/*.deb; do
  dpkg-deb -x "$deb" "$work/root"
  # The C library that a package asks for is the oldest that has its symbols, no newer one.
  dpkg-deb -x "$deb" "$work/alone"
  newest=$(find "$work/alone" -type f ! -name '*.a' ! -name '*.debug' -exec readelf -VW {} + 2>/dev/null |
    grep -Eo 'GLIBC_[0-9.]+' | sort -V | tail -n 1 || true)
  asked=$(dpkg-deb -f "$deb" Depends | grep -Eo 'libc6[^,]*' || true)
  [[ $asked == "${newest:+libc6 (>= ${newest#GLIBC_})}" ]] || { echo "$deb: $asked, needs $newest" >&2; exit 1; }
  rm -rf "$work/alone"
done
"$here/host_files.sh" "$work"
cd "$work"

# Everything stands where another architecture's packages leave room for it.
lib=root/usr/lib/$gnu
[[ -s $lib/libzelkaudio_effect_eqdrc.so && -s $lib/libzelkaudio_effect_eqdrc.a && -s root/usr/bin/process_file ]]
[[ -s $lib/libaudiopost-check.so.1 && -s $lib/libaudiopost-check.so && -s root/usr/include/audiopost_check.h ]]
[[ -s root/usr/include/zelkaudio_effect_eqdrc.h && -s root/usr/share/man/man1/process_file.1.gz ]]

export LD_LIBRARY_PATH=$work/$lib PKG_CONFIG_LIBDIR=$work/$lib/pkgconfig
flags() { pkgconf "$@" zelkaudio; }
example=$(find root/usr/share/doc -name 'host.c*')
if [[ $example == *.gz ]]; then gunzip "$example" && example=${example%.gz}; fi
# shellcheck disable=SC2046  # the flags are words
{
  "$cc" -Wall "$example" $(flags --cflags --libs) -o shared
  "$cc" -Wall -static "$example" $(flags --cflags --libs --static) -o static
}
for host in shared static; do "${run[@]}" "./$host" <in.pcm >"$host.pcm" 2>log.txt || { cat log.txt; exit 1; }; done
cmp shared.pcm static.pcm
[[ $(stat -c %s shared.pcm) == 768000 ]]
cmp -s -n 768000 in.pcm shared.pcm && { echo "the chain did nothing" >&2; exit 1; }

cp tuning.bin 0522_48000HZ.bin
cp in.pcm raw.pcm
"${run[@]}" root/usr/bin/process_file >/dev/null 2>&1
[[ $(stat -c %s process.pcm) == $((768012 / 4096 * 4096)) ]]

# What a cross build leaves out.
if [[ $arch == $(dpkg --print-architecture) ]]; then
  root/usr/bin/audiopost process --raw --quiet --driver-compatible --tuning tuning.bin in.pcm out.pcm
  cmp out.pcm process.pcm
  root/usr/bin/audiopost tuning check music
  [[ -s root/usr/share/man/man1/audiopost-process.1.gz && -s root/usr/share/zsh/vendor-completions/_audiopost ]]
fi
