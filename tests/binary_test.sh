#!/usr/bin/env bash
# binary_test.sh LIBRARY SONAME [NAME ...]: what a linker and a loader see of the built library, which calls no NAME.
set -euo pipefail

library=$1 soname=$2
shift 2
fail() { echo "$*" >&2; exit 1; }

dynamic=$(readelf -dW "$library")
grep -qF "soname: [$soname]" <<<"$dynamic" || fail "soname"
called=$(readelf --dyn-syms -W "$library" | awk '$7 == "UND" { sub("@.*", "", $8); print $8 }')
for name in "$@"; do ! grep -qx "$name" <<<"$called" || fail "calls $name"; done
# 64-bit Arm finds its stack guard in the loader, which belongs to the C library.
strange=$(sed -n 's/.*NEEDED.*\[\(.*\)\]/\1/p' <<<"$dynamic" | grep -vE '^(libc\.so\.6|libm\.so\.6|ld-linux-.*)$' || true)
[[ -z $strange ]] || fail "needs more than libc and libm: $strange"
grep -qE 'BIND_NOW|FLAGS_1.*NOW' <<<"$dynamic" || fail "symbols are bound late"
grep -q TEXTREL <<<"$dynamic" && fail "text relocations"

segments=$(readelf -lW "$library")
grep -q GNU_RELRO <<<"$segments" || fail "no relro"
grep -qE 'GNU_STACK .* RW +0x' <<<"$segments" || fail "the stack is executable"
grep -qE 'LOAD .* RWE ' <<<"$segments" && fail "a segment is writable and executable"
exit 0
