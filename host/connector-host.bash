# Completion for bash. What there is to complete is asked of the program itself.

_connector_host() {
  local program=$1 word=$2 previous=$3 choices='' command='' i

  for ((i = 1; i < COMP_CWORD; i++)); do
    case ${COMP_WORDS[i]} in
      call | serve | types) command=${COMP_WORDS[i]} && break ;;
    esac
  done

  if [[ $previous == --root || $previous == = && ${COMP_WORDS[COMP_CWORD - 2]} == --root ]]; then
    compopt -o filenames
    mapfile -t COMPREPLY < <(compgen -d -- "${word#=}")
    return
  elif [[ $word == -* ]]; then
    choices=$("$program" --help | grep -oE -- '--[a-z-]+' | sort -u)
  elif [[ ! $command ]]; then
    choices='serve call types'
  elif [[ $previous == call ]]; then
    choices=$("$program" types)
    [[ $word == */* ]] || choices=${choices//connector\/v1\//}
  fi
  mapfile -t COMPREPLY < <(compgen -W "$choices" -- "$word")
}

complete -F _connector_host connector-host
