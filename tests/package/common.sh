# Sourced by the checks of this directory. Usage of each: CHECK BUILD [ARG], BUILD being the directory
# of a complete Release build.

set -euo pipefail
project=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
build=$1
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
prefix=$scratch/prefix

fail() { echo "$*" >&2; exit 1; }
skip() { echo "skipped: $*"; exit 77; }

quietly() { "$@" >"$scratch/log" 2>&1 || { cat "$scratch/log" >&2; exit 1; }; }

# Moves the installed files, because none of them may depend on its place.
install_prefix() {
  quietly cmake --install "$build" --prefix "$scratch/first"
  mv "$scratch/first" "$prefix"
}

libraries_in() { dirname "$(find "$1" -name liboxconnectorfileimpl.so)"; }

# build_example PREFIX...
build_example() {
  local IFS=';'
  quietly cmake -G Ninja -S "$project/examples/embedding" -B "$scratch/example" \
    -DCMAKE_PREFIX_PATH="$*" -DCMAKE_CXX_FLAGS='-Wall -Wextra -Werror'
  quietly cmake --build "$scratch/example"
}

# opens_a_file PROGRAM ARG...: the program opens the file that its last two arguments request.
opens_a_file() {
  printf 'a greeting' >"$scratch/file"
  local answer
  answer=$("$@" connector/v1/OpenFile "{\"path\": \"$scratch/file\"}") &&
    grep -q '"contents": *"a greeting"' <<<"$answer" || fail "$1 answered: $answer"
}
