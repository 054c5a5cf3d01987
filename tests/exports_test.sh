#!/usr/bin/env bash
# exports_test.sh LIBRARY LIST: the library exports exactly the names in the list, which stand there in lines by module.
set -euo pipefail
readelf --dyn-syms -W "$1" | awk '$7 != "UND" && ($5 == "GLOBAL" || $5 == "WEAK") { print $8 }' | LC_ALL=C sort |
  diff <(tr ' ' '\n' <"$2") - || { echo "the library's names differ from $2 (< expected, > exported)" >&2; exit 1; }
