# Sourced by the checks in this directory. Usage of each, unless it says otherwise: CHECK BUILD, where
# BUILD is the directory of a complete Release build.

set -euo pipefail
project=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
build=$1
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
prefix=$scratch/prefix

fail() { echo "$*" >&2; exit 1; }

quietly() { "$@" >"$scratch/log" 2>&1 || { cat "$scratch/log" >&2; exit 1; }; }

libraries_in() { dirname "$(find "$1" -name liboxconnectorfileimpl.so)"; }

# build_example PREFIX...: builds examples/embedding on the libraries in these prefixes.
build_example() {
  local IFS=';'
  quietly cmake -G Ninja -S "$project/examples/embedding" -B "$scratch/example" \
    -DCMAKE_PREFIX_PATH="$*" -DCMAKE_CXX_FLAGS='-Wall -Wextra -Werror'
  quietly cmake --build "$scratch/example"
}

# opens_a_file PROGRAM ARG...: expects that the program opens the file that its last two arguments request.
opens_a_file() {
  printf 'a greeting' >"$scratch/file"
  local answer
  answer=$("$@" connector/v1/OpenFile "{\"path\": \"$scratch/file\"}") &&
    grep -q '"contents": *"a greeting"' <<<"$answer" || fail "$1 answered: $answer"
}

# embeds PREFIX: expects that the example works in each of the three ways of its README.
embeds() {
  build_example "$1"
  opens_a_file "$scratch/example/embedding"

  local libraries flags
  libraries=$(libraries_in "$1")
  ! readelf -d "$scratch/example/answer_module.so" | grep NEEDED | grep libox ||
    fail "the module is linked against the library that it finds at run time"
  LD_LIBRARY_PATH=$libraries opens_a_file "$scratch/example/load" "$scratch/example/answer_module.so"

  read -ra flags < <(PKG_CONFIG_PATH=$libraries/pkgconfig pkg-config --cflags --libs oxconnectorfileimpl)
  g++ -std=c++17 "$project"/examples/embedding/{main,answer}.cpp -o "$scratch/linked" \
    "${flags[@]}" "-Wl,-rpath,$libraries"
  opens_a_file "$scratch/linked"
}
