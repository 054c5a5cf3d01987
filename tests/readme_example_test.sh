#!/usr/bin/env bash
# readme_example_test.sh EXAMPLE MAKE_RECORD TUNING: the host in README.md plays whole blocks of 480 frames.
set -euo pipefail

read -ra run <<<"${EMULATOR:-}"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"${run[@]}" "$2" "$3" "$work/tuning.bin"
[[ $(stat -c %s "$work/tuning.bin") == 2000 ]]
head -c 8000 /dev/zero >"$work/in.pcm"
cd "$work"
"${run[@]}" "$1" <in.pcm >out.pcm
cmp out.pcm <(head -c 7680 /dev/zero)

# A tuning text that cannot be read is named with its line.
printf '0 48000 # fine\n500 1\n' >bad.txt
if "${run[@]}" "$2" bad.txt bad.bin 2>error.txt; then exit 1; fi
grep -q 'bad.txt:2' error.txt
