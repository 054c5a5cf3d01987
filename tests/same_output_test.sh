#!/usr/bin/env bash
# same_output_test.sh A B: both programs (under $EMULATOR) print the same bytes, and some.
set -euo pipefail
out=$(mktemp -d)
trap 'rm -r "$out"' EXIT
# shellcheck disable=SC2086  # the emulator is a command with arguments
{ $EMULATOR "$1" >"$out/a" 2>/dev/null; $EMULATOR "$2" >"$out/b" 2>/dev/null; }
[[ -s $out/a ]] || { echo "$1 printed nothing" >&2; exit 1; }
cmp "$out/a" "$out/b"
