#!/usr/bin/env bash
# The finished tool and the finished host: what a dry run leaves alone on both sides, and how a table of other fields is mended.
#   tool_test.sh BIN WORK
set -euo pipefail
bin=$1 work=$2
rm -rf "$work"
mkdir -p "$work/host" "$work/desk"
cd "$work"
trap 'kill $(jobs -p) 2>/dev/null; wait || true' EXIT
host() { "$bin/tellira-synchost" --store "$work/host/store.db" "$@" 2>>told; }
# is WANTED GOT
is() { [ "$1" = "$2" ] || { printf 'not "%s" but "%s"\n' "$1" "$2" >&2; exit 1; }; }
all_of() { find "$1" -type f -printf '%P %s %T@ ' -exec cksum {} + ; }

host table create GOODS CODE:C:8 NAME:C:20 --index BYCODE:CODE
host table create OLD CODE:C:8 --index BYOLD:CODE
host device add PDV-001
"$bin/tellira-synchost" --store host/store.db --listen 127.0.0.1:0 --log sessions 2>listening &
while ! grep -q '^listening' listening; do sleep 0.1; done
address=$(sed -n 's/^listening on //p' listening)
desk() { "$bin/tellira" sync --dir "$work/desk" --host "${address%:*}" --port "${address##*:}" --device PDV-001 "$@"; }
# What there is to do, twice; nothing changes at the desk.
dry() {
  all_of desk >before
  desk --dry-run >first 2>told
  desk --dry-run --json >second 2>told
  all_of desk | diff before -
  is "$(wc -l <first)" "$(grep -o '"task"' second | wc -l)"
}

# A desk that was never here: its directory stays empty.
dry
is "" "$(ls desk)"
desk >synced 2>told
printf 'CODE,NAME\n1,Arroz\n2,Feijao\n' | host import GOODS -
printf 'BM' >logo.bmp
host task add image logo.bmp --device PDV-001
host task add delete OLD --device PDV-001
host task add install app.prc --device PDV-001
dry
for words in 'delete table OLD' 'install app.prc' 'receive table GOODS, 2 records' 'receive images'; do
  grep -q "$words" first || { cat first >&2; exit 1; }
done
desk >synced 2>told
is 'GOODS: 2 received, 0 sent, 2 applied' "$(cat synced)"
is BM "$(cat desk/logo.bmp)"
grep -q 'install' first
dry
is '' "$(grep -v '^[0-9]*\. \(send\|receive\) table [A-Z]*$' first)"
# The same by what is stored.
"$bin/tellira" sync config --dir desk --host "${address%:*}" --port "${address##*:}" --device PDV-001 >/dev/null
"$bin/tellira" sync --dir desk --dry-run 2>told | diff first -

# A table of other fields is refused, and keeps what it has, until it is the catalogue's.
db() { "$bin/tellira" db --dir desk "$@" 2>>told; }
db drop GOODS --yes
db create GOODS CODE:C:8 NAME:C:30
db import GOODS - <<<$'CODE,NAME\n9,Nove'
for _ in 1 2; do
  printf 'CODE,NAME\n3,Sal\n' | host import GOODS -
  if desk >synced 2>told; then exit 1; fi
  grep -q 'Tabela recusada: GOODS (NAME)' told
done
is $'CODE,NAME\n9,Nove' "$(db export GOODS)"
db drop GOODS --yes
desk >synced 2>told
is "$(host export GOODS)" "$(db export GOODS --order BYCODE)"

# says WORDS COMMAND: it is refused with them.
says() {
  local words=$1
  shift
  if "$@" >refused 2>&1 || ! grep -qF -- "$words" refused; then cat refused >&2; exit 1; fi
}
says '--suffix: 1 required C missing' desk --suffix
says '--group is too long' desk --group "$(printf %0300d 1)"
says '--group' desk --group A --group B
says '--screen takes no other settings' "$bin/tellira" sync config --dir desk --screen --port 1
says 'DB cannot be made: ' "$bin/tellira" sync log --dir /sys
says 'no host' "$bin/tellira" sync --dir "$work/host" --dry-run
[ ! -e host/DB ]
