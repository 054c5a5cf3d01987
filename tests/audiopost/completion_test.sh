#!/usr/bin/env bash
# completion_test.sh AUDIOPOST SOURCE: for every command bash completes the very options that --help lists, and zsh's
# completion and the manual page know them. A file's name may hold blanks.
set -euo pipefail

read -ra audiopost <<<"${EMULATOR:-} $1"
source=$2 failed=0
# shellcheck source=/dev/null
. "$source/tools/audiopost/completion/audiopost.bash"
commands() { "${audiopost[@]}" "$@" --help | sed -n '/^Subcommands:/,$s/^  \([a-z-]*\) .*/\1/p'; }
options() { grep -oE -- '--[a-z]+(-[a-z]+)*' | sort -u; }
check() {  # COMMAND ...
  local listed completed option file
  listed=$("${audiopost[@]}" "$@" --help | options)
  COMP_WORDS=(audiopost "$@" --) COMP_CWORD=$(($# + 1)) COMPREPLY=()
  _audiopost audiopost -- "${!#}"
  completed=$(printf '%s\n' "${COMPREPLY[@]}" | options)
  [[ $completed == "$listed" ]] || { echo "$*: bash completes $completed, and there are $listed"; failed=1; }
  for option in ${listed/--help/}; do
    for file in tools/audiopost/completion/_audiopost "docs/man/audiopost-$1.1"; do
      grep -qF -- "$option" <<<"$(tr -d '\134' <"$source/$file")" || { echo "$*: $file: no $option"; failed=1; }
    done
  done
}
for command in $(commands); do
  if [[ $command != tuning ]]; then check "$command"; fi
done
for command in $(commands tuning); do check tuning "$command"; done
place=$(mktemp -d)
trap 'rm -r "$place"' EXIT
touch "$place/two words.wav"
COMP_WORDS=(audiopost process "$place/t") COMP_CWORD=2
_audiopost audiopost "$place/t" process || true  # no option begins like that
[[ ${COMPREPLY[0]} == "$place/two words.wav" ]] || { echo "bash completes ${COMPREPLY[0]}"; failed=1; }
[[ -n ${command:-} ]] || failed=1
exit $failed
