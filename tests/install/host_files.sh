#!/usr/bin/env bash
# host_files.sh FOLDER: a tuning with every effect on (tuning.bin) and four seconds of sound (in.pcm), for hosts to run.
set -euo pipefail

header='0 48000 16 0 2 2\n10 1 1 1 1 1 1 1 1\n'
{ printf '%b' "$header"; cat "$(dirname "$0")/../golden/tuning.txt"; } |
  perl -ne 's/#.*//; my ($at, @values) = split; @record[$at .. $at + $#values] = @values if defined $at;
            END { print pack "f<500", map { $_ // 0 } @record[0 .. 499] }' >"$1/tuning.bin"
# Digits as samples: a loud rough buzz that never repeats within them. 192003 frames: the last block is not whole.
head -c 768012 <(seq 1 200000) >"$1/in.pcm"
