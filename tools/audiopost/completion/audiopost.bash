# bash completion for audiopost: commands, options, presets and files.
_audiopost() {
  local word=$2 previous=$3 command=${COMP_WORDS[1]} words=
  [[ $command == tuning && $COMP_CWORD -gt 2 ]] && command="tuning ${COMP_WORDS[2]}"
  local presets='music speech night tv flat'
  case $previous in
    --preset) COMPREPLY=($(compgen -W "$presets" -- "$word")); return ;;
    -t | --tuning | --into) COMPREPLY=($(compgen -W "$presets" -- "$word") $(compgen -f -- "$word")); return ;;
    -o | --output) COMPREPLY=($(compgen -f -- "$word")); return ;;
    --block | --rate | --channels | --channel | --sweep-level | --tones | --levels) return ;;
  esac
  if ((COMP_CWORD == 1)); then
    COMPREPLY=($(compgen -W 'tuning process measure plot report meter --help --version' -- "$word"))
    return
  fi
  local stream='--raw --rate --channels --block'
  case $command in
    tuning) words='new show build check diff import-eq export-eq' ;;
    'tuning new') words='--preset -o --output' ;;
    'tuning show') ;;
    'tuning build') words='-o --output --block' ;;
    'tuning check') words='--block --json' ;;
    'tuning diff') words='--json' ;;
    'tuning import-eq') words='--into --channel -o --output' ;;
    'tuning export-eq') words='--channel -o --output' ;;
    process) words="-t --tuning $stream --driver-compatible --json -q --quiet" ;;
    measure) words="$stream --sweep-level --tones --levels --json" ;;
    plot) words='-o --output' ;;
    report) words="-o --output $stream" ;;
    meter) words='--raw --rate --channels --fast --json' ;;
  esac
  [[ $word == -* || $command == tuning ]] || COMPREPLY=($(compgen -f -- "$word"))
  [[ $command == tuning\ * || $command == measure || $command == plot || $command == report ]] && [[ $word != -* ]] &&
    COMPREPLY+=($(compgen -W "$presets" -- "$word"))
  COMPREPLY+=($(compgen -W "$words --help" -- "$word"))
}
complete -o filenames -F _audiopost audiopost
