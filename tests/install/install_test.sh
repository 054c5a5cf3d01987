#!/usr/bin/env bash
# install_test.sh SOURCE BUILD: installs into an empty prefix, moves it, and builds the host of README.md from what is
# there: in C through pkg-config, in C and C++ through find_package, shared and static. All must play the same.
set -euo pipefail

source=$1 build=$2 here=$(cd "$(dirname "$0")" && pwd)
read -ra run <<<"${EMULATOR:-}"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$here/host_files.sh" "$work"
cmake --install "$build" --prefix "$work/staged" >/dev/null
mv "$work/staged" "$work/prefix"
cd "$work"

libdir=$(dirname "$(find prefix -name libzelkaudio_effect_eqdrc.so)")
for file in "$libdir"/libzelkaudio_effect_eqdrc.a "$libdir"/libaudiopost-check.so.1 include/zelkaudio_effect_eqdrc.h \
    include/audiopost_check.h bin/process_file \
    share/man/man1/process_file.1 share/man/man3/libzelkaudio.3 share/doc/zelkaudio/tuning-record.md; do
  [[ -s $file || -s prefix/$file ]] || { echo "not installed: $file" >&2; exit 1; }
done
export PKG_CONFIG_LIBDIR=$work/$libdir/pkgconfig

cp "$source/examples/host.c" .
flags() { "$PKG_CONFIG" "$@" zelkaudio; }
# shellcheck disable=SC2046  # the flags are words
{
  "$CC" -Wall -Werror host.c $(flags --cflags --libs) -Wl,-rpath,"$work/$libdir" -o shared
  "$CC" -Wall -Werror -static host.c $(flags --cflags --libs --static) -o static
}

for language in C CXX; do
  mkdir $language
  cp host.c "$language/host.${language,,}"
  cat >$language/CMakeLists.txt <<END
cmake_minimum_required(VERSION 3.21)
project(app $language)
find_package(zelkaudio 2 REQUIRED)
foreach(kind zelkaudio static)
  add_executable(\${kind} host.${language,,})
  target_link_libraries(\${kind} PRIVATE zelkaudio::\${kind})
endforeach()
END
  cmake -S $language -B $language/build -DCMAKE_PREFIX_PATH="$work/prefix" ${TOOLCHAIN:+-DCMAKE_TOOLCHAIN_FILE="$TOOLCHAIN"}
  cmake --build $language/build
done >log.txt

"${run[@]}" "$build/examples/example_host" <in.pcm >expected.pcm 2>/dev/null
for host in ./shared ./static {C,CXX}/build/{zelkaudio,static}; do
  "${run[@]}" "$host" <in.pcm >out.pcm 2>log.txt || { echo "$host failed"; cat log.txt; exit 1; }
  cmp out.pcm expected.pcm
done

# The checker by itself, as docs/integration.md shows it: through pkg-config and find_package.
awk '/^```$/ { on = 0 } on && /audiopost_check.h/ { found = 1 } on && found; /^```c$/ { on = 1; found = 0 }' \
  "$source/docs/integration.md" >playable.c
cat >>playable.c <<'END'
int main(void) {
  float record[500] = {48000, 16, 1, 2, 2};
  if (!playable(record, 480)) return 1;
  record[14] = record[100] = 1, record[101] = 6, record[102] = 2; /* a Butterworth low-pass at 2 Hz */
  return playable(record, 480);
}
END
mkdir check
cat >check/CMakeLists.txt <<'END'
cmake_minimum_required(VERSION 3.21)
project(app C)
find_package(zelkaudio 2 REQUIRED)
add_executable(playable ../playable.c)
target_link_libraries(playable PRIVATE zelkaudio::audiopost-check)
END
# shellcheck disable=SC2046  # the flags are words
"$CC" -std=c99 -pedantic -Wall -Werror playable.c $("$PKG_CONFIG" --cflags --libs audiopost-check) \
  -Wl,-rpath,"$work/$libdir" -o playable
cmake -S check -B check/build -DCMAKE_PREFIX_PATH="$work/prefix" ${TOOLCHAIN:+-DCMAKE_TOOLCHAIN_FILE="$TOOLCHAIN"} >log.txt
cmake --build check/build >>log.txt
for host in ./playable check/build/playable; do
  "${run[@]}" "$host" 2>log.txt
  grep -q '^unstable: EQ10 channel 0 band 0: fc 2 Hz' log.txt
done

# The installed driver, on whole blocks of 1024 frames. It finds its library by itself, as hosts that CMake built do.
mkdir driver
cp tuning.bin driver/0522_48000HZ.bin
cp in.pcm driver/raw.pcm
(cd driver && "${run[@]}" ../prefix/bin/process_file 2>/dev/null >/dev/null)
[[ $(stat -c %s driver/process.pcm) == $((768012 / 4096 * 4096)) ]]
