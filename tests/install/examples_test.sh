#!/usr/bin/env bash
# examples_test.sh FOLDER SOURCE: what the hosts in FOLDER, built from examples/, make of the same sound.
set -euo pipefail

fail() { echo "$*" >&2; exit 1; }
read -ra run <<<"${EMULATOR:-}"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$(dirname "$0")/host_files.sh" "$work"
cd "$work"
for example in host retune block_adapter; do
  "${run[@]}" "$1/example_$example" <in.pcm >"$example.pcm" 2>log.txt || { cat log.txt >&2; fail "$example failed"; }
done

# The host that README.md shows. Whole blocks only, changed.
cmp <(awk '/^```$/ { on = 0 } on; /^```c$/ { on = 1 }' "$2/README.md") "$2/examples/host.c"
[[ $(stat -c %s host.pcm) == 768000 ]] || fail "host: $(stat -c %s host.pcm) bytes"
cmp -s -n 768000 in.pcm host.pcm && fail "host: the chain did nothing"

# The same sound, a block (1920 bytes) of silence later, as long as the input.
[[ $(stat -c %s block_adapter.pcm) == 768012 ]] || fail "block_adapter: $(stat -c %s block_adapter.pcm) bytes"
cmp <(head -c 1920 /dev/zero; head -c 766092 host.pcm) block_adapter.pcm

# The sound of the host until the first knob turns at one second, and another in each second from there on.
cmp -n 192000 host.pcm retune.pcm
for second in 1 2 3; do
  cmp -s -i $((192000 * second)) -n 192000 host.pcm retune.pcm && fail "retune: second $second is as it was"
done
exit 0
