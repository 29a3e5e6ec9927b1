# Functions that install packages on Debian 12 and 13, and build the project. Other scripts source
# this file.

unset CDPATH # with CDPATH, cd may enter another directory, and prints its name
project=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# build_dependencies PATTERN: prints the build dependencies in debian/control whose line matches.
build_dependencies() {
  sed -nE "/^Build-Depends:/,/^Standards-Version:/ { /$1/ s/^ ([a-z0-9.+-]+).*/\1/p }" "$project/debian/control"
}
packages_to_build=(g++ $(build_dependencies '[^>,],?$')) # the lines that do not end in <!nocheck>
packages_to_test=($(build_dependencies '<!nocheck>'))
packages_to_lint=(clang clang-format clang-tidy doxygen mandoc)
packages_to_pack=(build-essential debhelper lintian)
packages_to_compare=(openssh-sftp-server python3)
packages_of_node=(nodejs npm)
packages_of_clients=(python3-pylsp-jsonrpc socat systemd) # tests/interop needs these and Node.js

say() { printf '%s\n' "$@" >&2; }

# copy_project DIRECTORY: copies the project there, without its history and builds.
copy_project() {
  mkdir -p "$1"
  tar -C "$project" --exclude-vcs --exclude=./build -c . | tar -C "$1" --no-same-owner -x
}

# install_packages NAME...: installs those that are missing. Uses sudo if the user is not root.
install_packages() {
  local missing=() name
  for name in "$@"; do
    [ "$(dpkg-query -W -f='${db:Status-Status}' "$name" 2>/dev/null)" = installed ] ||
      missing+=("$name")
  done
  [ ${#missing[@]} -gt 0 ] || return 0
  local as_root=()
  if [ "$(id -u)" != 0 ]; then
    command -v sudo >/dev/null || {
      say "Packages are missing, and sudo is not installed. Run this as root, then try again:" \
          "apt-get update && apt-get install -y --no-install-recommends ${missing[*]}"
      return 1
    }
    as_root=(sudo)
  fi
  say "Installing ${missing[*]} ..."
  # Retries, since a mirror may fail for a moment. Waits while another process installs packages.
  local apt=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive
             apt-get -o Acquire::Retries=3 -o DPkg::Lock::Timeout=300)
  { "${apt[@]}" update &&
    "${apt[@]}" install -y --no-install-recommends "${missing[@]}"; } </dev/null >&2
}

# say_if_slow TEXT: prints the text unless standard input ends within two seconds.
say_if_slow() {
  local status=0
  read -rt 2 || status=$?
  [ $status -le 128 ] || say "$1"
}

# build PRESET TARGET...: builds the targets, after any other build of the preset. Prints the log only if the build
# fails. Needs pipefail. With with_tests=OFF, a new build directory does not contain the tests.
with_tests=ON
build() {
  local preset=$1 directory=$project/build/$1
  shift
  mkdir -p "$directory"
  local log=$directory/build.log
  (
    flock 9
    {
      {
        [ "$directory/build.ninja" -nt "$project/CMakePresets.json" ] &&
          grep -qE "^CONNECTOR_BUILD_TESTS:BOOL=(ON|$with_tests)" "$directory/CMakeCache.txt" ||
          cmake --preset "$preset" -S "$project" -DCONNECTOR_BUILD_TESTS=$with_tests
      } && ninja -C "$directory" "$@"
    } >"$log" 2>&1 || { # opened under the lock, so that builds do not mix their logs
      cat "$log" >&2
      exit 1
    }
  ) 9>"$directory/.lock" </dev/null |
    say_if_slow "Building (a few minutes the first time; log: $log) ..."
}
