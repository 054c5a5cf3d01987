# bash completion for audiopost: commands, options, presets and files.

# Files by the name so far, a line each: names may hold blanks. Only with files among the words are words quoted.
_audiopost_files() {
  mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -f -- "$1")
  compopt -o filenames 2>/dev/null || true
}

_audiopost() {
  local word=$2 previous=$3 command=${COMP_WORDS[1]} words=
  [[ $command == tuning && $COMP_CWORD -gt 2 ]] && command="tuning ${COMP_WORDS[2]}"
  local presets='music speech night tv flat'
  case $previous in
    --preset) COMPREPLY=($(compgen -W "$presets" -- "$word")); return ;;
    -t | --tuning | --into) COMPREPLY=($(compgen -W "$presets" -- "$word")); _audiopost_files "$word"; return ;;
    -o | --output) COMPREPLY=(); _audiopost_files "$word"; return ;;
    --block | --rate | --channels | --channel | --sweep-level | --tones | --levels) return ;;
  esac
  if ((COMP_CWORD == 1)); then
    COMPREPLY=($(compgen -W 'tuning process measure plot report meter --help --version' -- "$word"))
    return
  fi
  COMPREPLY=()
  local stream='--raw --rate --channels --block'
  case $command in
    tuning) words='new show build check diff import-eq export-eq' ;;
    'tuning new') words='--preset -o --output' ;;
    'tuning show') ;;
    'tuning build') words='-o --output --block --force' ;;
    'tuning check') words='--block --json --strict' ;;
    'tuning diff') words='--json' ;;
    'tuning import-eq') words='--into --channel -o --output --force' ;;
    'tuning export-eq') words='--channel -o --output' ;;
    process) words="-t --tuning $stream --driver-compatible --json -q --quiet" ;;
    measure) words="$stream --sweep-level --tones --levels --json" ;;
    plot) words='-o --output' ;;
    report) words="-o --output $stream" ;;
    meter) words='--raw --rate --channels --fast --json' ;;
  esac
  [[ $word == -* || $command == tuning ]] || _audiopost_files "$word"
  [[ $command == tuning\ * || $command == measure || $command == plot || $command == report ]] && [[ $word != -* ]] &&
    COMPREPLY+=($(compgen -W "$presets" -- "$word"))
  COMPREPLY+=($(compgen -W "$words --help" -- "$word"))
}
complete -F _audiopost audiopost
