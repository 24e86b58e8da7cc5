#!/usr/bin/env bash
# The two files for stunnel that docs/sync.md shows, with their addresses and paths changed: whole sessions pass through them,
# and neither end talks to a stranger.
#   stunnel_test.sh ROOT BIN WORK
# Exit status 77, not tested, where stunnel or openssl is missing; with TELLIRA_NO_SKIP set that is a failure.
set -euo pipefail
root=$1 bin=$2 work=$3

for program in stunnel openssl; do
  if ! command -v $program >/dev/null; then
    echo "not tested: TLS as docs/sync.md shows it, since $program is not here" >&2
    [ -n "${TELLIRA_NO_SKIP:-}" ] || exit 77
    exit 1
  fi
done

rm -rf "$work"
mkdir -p "$work"
cd "$work"
trap 'kill $(jobs -p) 2>/dev/null; wait || true' EXIT
read -r host_port tls_port device_port < <(python3 -c '
import socket
ends = [socket.create_server(("127.0.0.1", 0)) for _ in range(3)]
print(*(end.getsockname()[1] for end in ends))')

keys="-newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes"
# authority NAME; certificate AUTHORITY NAME HOST
authority() {
  openssl req -x509 $keys -keyout "$1.key" -out "$1.pem" -days 2 -subj "/CN=$1" 2>/dev/null
}
certificate() {
  openssl req $keys -keyout "$2.key" -out "$2.csr" -subj "/CN=$3" 2>/dev/null
  openssl x509 -req -in "$2.csr" -CA "$1.pem" -CAkey "$1.key" -CAcreateserial -days 2 -out "$2.pem" 2>/dev/null \
    -extfile <(echo "subjectAltName=DNS:$3")
}
authority authority
authority stranger
certificate authority host sync.example.com
certificate authority device pdv-001
certificate authority other other.example.com
certificate stranger strange-device pdv-001

# tls END [CERTIFICATE]: starts (anew) the stunnel of one end, in the document's words; the job's number is its pid.
declare -A running=()
tls() {
  [ -z "${running[$1]:-}" ] || { kill "${running[$1]}"; wait "${running[$1]}" || true; }
  { echo "foreground = yes
pid ="
    awk -v end="[tellira-$1]" '/^```/ { inside = 0 } inside || $0 == end { inside = 1; print }' "$root/docs/sync.md" |
      sed "s|/etc/stunnel/$1\.|$work/${2:-$1}.|; s|/etc/stunnel|$work|; s|:5555|:$host_or_device|; s|= .*:5556|= 127.0.0.1:$tls_port|"
  } >"$1.conf"
  : >"$1.log"
  stunnel "$1.conf" >>"$1.log" 2>&1 &
  running[$1]=$!
  for _ in $(seq 100); do
    grep -q 'Configuration successful' "$1.log" && return
    sleep 0.1
  done
  cat "$1.conf" "$1.log" >&2
  exit 1
}
at_host() { host_or_device=$host_port tls host "$@"; }
at_device() { host_or_device=$device_port tls device "$@"; }
sync_once() {
  "$bin/tellira" sync --dir trial/desk --host 127.0.0.1 --port "$device_port" --device PDV-001 --group LOJA --plain >>sync.txt 2>&1
}
refused() {
  if sync_once; then
    echo "a session passed with $1" >&2
    exit 1
  fi
}

at_host
at_device
HOST_LISTEN=127.0.0.1:$host_port "$root/scripts/sync-trial" "$bin" trial "127.0.0.1:$device_port"

"$bin/tellira-synchost" --store trial/host.db --listen "127.0.0.1:$host_port" >/dev/null 2>serving.txt &
until grep -q '^listening' serving.txt; do sleep 0.1; done
sync_once
at_device strange-device
refused "a device's certificate of another authority"
at_device
at_host other
refused "a host's certificate for another name"
at_host
sync_once
