# Sourced by ./run, ./test and the scripts in .ci. Installs packages on Debian 12 and 13, and builds.

project=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

packages_to_build=(acl g++ cmake dpkg-dev file ninja-build libbenchmark-dev libboost-dev libgmock-dev
                   libgoogle-perftools-dev libgtest-dev libpoco-dev libsimdjson-dev pkgconf strace)
packages_to_lint=(clang clang-format clang-tidy doxygen mandoc)
packages_to_compare=(openssh-sftp-server)
packages_of_node=(nodejs npm)

say() { printf '%s\n' "$*" >&2; }

# install_packages NAME...: installs those that are missing, by sudo when not root.
install_packages() {
  local missing=() name
  for name in "$@"; do
    [ "$(dpkg-query -W -f='${db:Status-Status}' "$name" 2>/dev/null)" = installed ] ||
      missing+=("$name")
  done
  [ ${#missing[@]} -gt 0 ] || return 0
  say "Installing ${missing[*]} ..."
  local as_root=()
  [ "$(id -u)" = 0 ] || as_root=(sudo)
  # A mirror may stumble, and a machine that has just started may still be installing.
  local apt=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive
             apt-get -o Acquire::Retries=3 -o DPkg::Lock::Timeout=300)
  { "${apt[@]}" update &&
    "${apt[@]}" install -y --no-install-recommends "${missing[@]}"; } </dev/null >&2
}

# build PRESET TARGET...: quiet unless it fails; one at a time.
build() {
  local preset=$1 folder=$project/build/$1
  shift
  mkdir -p "$folder"
  local log=$folder/build.log
  [ -e "$folder/build.ninja" ] || say "Building (a few minutes the first time; log: $log) ..."
  (
    flock 9
    {
      [ "$folder/build.ninja" -nt "$project/CMakePresets.json" ] ||
        cmake --preset "$preset" -S "$project"
    } && ninja -C "$folder" "$@"
  ) 9>"$folder/.lock" </dev/null >"$log" 2>&1 || {
    cat "$log" >&2
    return 1
  }
}
