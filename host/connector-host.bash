# Completion for bash. The program itself lists the options, types and keys.

_connector_host() {
  local program=$1 word=$2 previous=$3 choices='' words=() i

  for ((i = 1; i < COMP_CWORD; i++)); do
    case ${COMP_WORDS[i]} in
      --root | --max-message | --max-reply | --jobs) [[ ${COMP_WORDS[i + 1]} == = ]] && ((i += 2)) || ((i += 1)) ;;
      -*) ;;
      *) words+=("${COMP_WORDS[i]}") ;;
    esac
  done
  [[ $previous == = ]] && previous=${COMP_WORDS[COMP_CWORD - 2]}

  if [[ $previous == --root ]]; then
    compopt -o filenames
    mapfile -t COMPREPLY < <(compgen -d -- "${word#=}")
    return
  elif [[ $previous == --max-* || $previous == --jobs ]]; then
    return
  elif [[ $word == -* ]]; then
    choices=$("$program" --help | grep -oE -- '--[a-z-]+' | sort -u)
  elif [[ ! ${words[*]} ]]; then
    choices='serve mcp call types schema'
  elif [[ ${words[*]} == call ]]; then
    choices=$("$program" types)
    [[ $word == */* ]] || choices=${choices//connector\/v1\//}
  elif [[ ${words[0]} == call && ${COMP_WORDS[COMP_CWORD - 1]} != = && $word != = ]]; then
    compopt -o nospace
    choices=$("$program" call --help "${words[1]}" 2>/dev/null | sed -nE 's/^  ([A-Za-z.]+) .*/\1=/p')
  fi
  mapfile -t COMPREPLY < <(compgen -W "$choices" -- "$word")
}

complete -F _connector_host connector-host
