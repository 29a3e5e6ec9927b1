# client.sh HOST_PROGRAM: the units of host/systemd are valid, and their command serves a socket.
set -euo pipefail
units=$(mktemp -d)
trap 'kill %1 2>/dev/null || true; rm -rf "$units"' EXIT
cp "$(dirname "${BASH_SOURCE[0]}")"/../../host/systemd/* "$units"
sed -i "s|/usr/bin/connector-host|$1|; s|%S|$units|" "$units/connector-host@.service"

[ -z "$(systemd-analyze verify --man=no "$units"/* 2>&1 | tee /dev/stderr)" ]
mkdir "$units/connector-host"
read -ra command < <(sed -n 's/^ExecStart=//p' "$units/connector-host@.service")
systemd-socket-activate --accept --inetd --setenv=LSAN_OPTIONS --listen="$units/socket" "${command[@]}" &
echo "{\"jsonrpc\": \"2.0\", \"id\": 1, \"method\": \"connector/v1/CreateFile\", \"params\": {\"file\": {\"location\": \"$units/connector-host/a\"}}}" |
  socat -t 60 - UNIX-CONNECT:"$units/socket",retry=50,interval=0.1
[ -e "$units/connector-host/a" ]
