#!/usr/bin/env bash
# loudness_agreement_test.sh SOURCE BUILD: the integrated loudness of a recording before and after the chain, by the
# library's meter and by FFmpeg's, within 0.3 LU; and the tuning for listeners lands near the loudness it aims at.
set -euo pipefail

source=$1 build=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$source/scripts/sound" >"$work/raw.pcm"
"$build/make_record" "$source/tunings/starter.txt" "$work/0522_48000HZ.bin"
(cd "$work" && "$build/process_file" >/dev/null 2>&1)

for name in raw process; do
  own=$("$build/sound_level" "$work/$name.pcm" | sed -n 's/.*loudness *\(.*\) LUFS/\1/p')
  other=$(ffmpeg -hide_banner -nostats -f s16le -ar 48000 -ac 2 -i "$work/$name.pcm" -af ebur128 -f null - 2>&1 |
    sed -n 's/^ *I: *\(.*\) LUFS/\1/p' | tail -1)
  echo "$name: $own LUFS, FFmpeg says $other"
  awk -v a="$own" -v b="$other" 'BEGIN { exit !(a != "" && b != "" && a - b <= 0.3 && b - a <= 0.3) }'
done
# Make-up gain, compression and the Agc move what AutoGain's -16 LUFS comes out as.
awk -v lufs="$own" 'BEGIN { exit !(lufs > -18 && lufs < -14) }'
