#!/usr/bin/env bash
# exports_test.sh LIBRARY SYMBOLS: the library exports exactly the names that its package promises.
set -euo pipefail
readelf --dyn-syms -W "$1" | awk '$7 != "UND" && ($5 == "GLOBAL" || $5 == "WEAK") { print $8 }' | LC_ALL=C sort |
  diff <(sed -n 's/^ \(.*\)@Base .*/\1/p' "$2" | LC_ALL=C sort) - ||
  { echo "the library's names differ from $2 (< promised, > exported)" >&2; exit 1; }
