#!/usr/bin/env bash
# The screens of synchronisation in a real terminal, which tmux is: live bars in 80 by 24, smaller and larger while they
# run, the form of the settings, the log, and a terminal that is whole again after Ctrl-C.
#   terminal_test.sh BIN WORK
# Exit status 77, not tested, where tmux is missing; with TELLIRA_NO_SKIP set that is a failure.
set -euo pipefail
bin=$1 work=$2

if ! command -v tmux >/dev/null; then
  echo "not tested: the screens in a terminal, since tmux is not here" >&2
  [ -n "${TELLIRA_NO_SKIP:-}" ] || exit 77
  exit 1
fi

rm -rf "$work"
mkdir -p "$work"
cd "$work"
export LC_ALL=C.UTF-8
# Short, since the path of a socket may have a hundred characters.
socket=$(mktemp -u /tmp/terminal.XXXXXX)
terminal() { tmux -f /dev/null -S "$socket" "$@"; }
trap 'terminal kill-server 2>/dev/null || true; kill $(jobs -p) 2>/dev/null; wait || true' EXIT

seen() { terminal capture-pane -p -t 0; }
# shows WORDS: they appear, soon.
shows() {
  for _ in $(seq 100); do
    if seen | grep -qF -- "$1"; then return; fi
    sleep 0.1
  done
  echo "the terminal does not show \"$1\" but:" >&2
  seen >&2
  exit 1
}
type() { terminal send-keys -t 0 "$@"; }
# size COLUMNS ROWS WORDS: the terminal gets that size; then the words and both bars fit into it.
size() {
  terminal resize-window -t 0 -x "$1" -y "$2"
  shows "$3"
  for _ in $(seq 50); do
    if [ "$(seen | wc -L)" -le "$1" ] && seen | grep -q '^ \[#*\.*\] *[0-9]*%$'; then
      return
    fi
    sleep 0.1
  done
  seen >&2
  exit 1
}

# A host that keeps silent, so that the session stays where it is.
python3 -c '
import socket, time
server = socket.create_server(("127.0.0.1", 0))
print(server.getsockname()[1], flush=True)
lines = []
while True: lines.append(server.accept())' >port &
while [ ! -s port ]; do sleep 0.1; done

terminal new-session -d -x 80 -y 24 "exec env PS1='> ' bash --norc --noprofile"
type "PATH=$bin:\$PATH" Enter
type 'tellira sync config --screen' Enter
shows 'Ident.:'
# User, identification, server, port.
type 'loja' Tab 'PDV-001' Tab '127.0.0.1' Tab "$(cat port)" Enter
shows '>'
type "tellira sync config --json | tr -d ' \\n'; echo" Enter
shows '"device":"PDV-001"'
shows '"host":"127.0.0.1"'

type "clear; tellira sync" Enter
shows 'Comunicando com o servidor'
shows '45%'
shows 'Conectando'
for columns_rows in '40 12' '30 10' '120 40' '80 24'; do
  size $columns_rows 'Comunicando'
done
type C-c
sleep 0.5
type 'echo whole $((40 + 2))' Enter
shows 'whole 42'

"$bin/tellira-synchost" table create GOODS CODE:C:8 --index BYCODE:CODE 2>/dev/null
"$bin/tellira-synchost" device add PDV-001 2>/dev/null
"$bin/tellira-synchost" --listen 127.0.0.1:0 2>listening &
while ! grep -q '^listening' listening; do sleep 0.1; done
host=$(sed -n 's/^listening on //p' listening)
type "clear; tellira sync --host ${host%:*} --port ${host##*:} --device PDV-001; echo ended \$?" Enter
shows 'ended 0'
type "clear; tellira sync log --screen" Enter
shows 'InitSync: Erro=0'
type q
type 'echo back $((50 + 5))' Enter
shows 'back 55'
