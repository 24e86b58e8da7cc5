#!/bin/sh
# What the verbs print as JSON, against docs/schemas.
#   schemas_test.sh TOOL DEVICES WORK     the simulated devices' directory, one to work in
set -eu
tool=$1
devices=$2
work=$3
schemas=$(dirname "$(readlink -f "$0")")/../../docs/schemas
python=
for candidate in python3 /usr/bin/python3; do
  if [ -z "$python" ] && $candidate -c 'import jsonschema' 2>/dev/null; then python=$candidate; fi
done
if [ -z "$python" ]; then
  echo "jsonschema is missing: ./check installs it (Debian package python3-jsonschema)" >&2
  exit 1
fi

# valid SCHEMA STATUS ARGUMENT...: the answer fits the schema and the exit status is the one told.
valid() {
  schema=$1
  wanted=$2
  shift 2
  status=0
  "$tool" "$@" >answer.json 2>words || status=$?
  if [ "$status" != "$wanted" ]; then
    echo "$*: exit status $status instead of $wanted" >&2
    exit 1
  fi
  "$python" - "$schemas/$schema.json" answer.json <<'END'
import json, sys
import jsonschema

schema, answer = (json.load(open(name, encoding="utf-8")) for name in sys.argv[1:])
jsonschema.Draft202012Validator.check_schema(schema)
jsonschema.Draft202012Validator(schema).validate(answer)
# A schema that takes anything would prove nothing: without a member that it requires no answer may pass.
subject = answer[0] if isinstance(answer, list) else answer
assert subject
for member in schema.get("items", schema).get("required", []):
    broken = {key: value for key, value in subject.items() if key != member}
    assert not jsonschema.Draft202012Validator(schema).is_valid([broken] if isinstance(answer, list) else broken), member
END
}

rm -rf "$work"
mkdir -p "$work"
cd "$work"
cp "$devices"/*.so .
"$tool" db create GOODS CODE:C:12 PRICE:N:12:2 SINCE:D SOLD:L NOTES:M 2>/dev/null
printf 'CODE,PRICE,SINCE,NOTES\nA,1.5,2004-03-17,"two\nlines"\nB,,,\n' | "$tool" db import GOODS - 2>/dev/null
"$tool" db index create GOODS BYCODE CODE 2>/dev/null
valid db-list 0 db list --json
valid db-schema 0 db schema GOODS --json
valid db-schema 0 db schema BYCODE --json
valid db-seek 0 db seek GOODS BYCODE A --deleted --json
valid db-seek 1 db seek GOODS BYCODE AA --soft --json
valid db-seek 1 db seek GOODS BYCODE C --soft --json
valid db-check 0 db check --json
if "$tool" db sql 'SELECT 1' >/dev/null 2>&1; then valid db-sql 0 db sql --json 'SELECT * FROM GOODS'; fi
# Running out of memory is told like every other failure; programs with a sanitizer do not start with so little.
if (ulimit -v 400000 && "$tool" db sql 'SELECT 1') >/dev/null 2>&1; then
  (ulimit -v 400000 && valid error 3 db sql --json 'SELECT length(hex(zeroblob(400000000)))')
  grep -q 'there is not enough memory' words
fi
for room in 8000 9000 10000 11000 12000; do (ulimit -v $room; "$tool" db recall GOODS 1 || true); done >words 2>&1
if grep 'runtime stopped: \.' words; then exit 1; fi
valid error 1 db seek NOTHING BYCODE A --json
valid error 2 call ECF_Nada --json
valid call 0 call ECF_LeituraX --json
valid commands 0 commands --json ECF_RetornoImpressora
echo 'echo $today
ECF_AbrePortaSerial
ECF_AbreCupom ""
ECF_AbreCupom ""' >short.tlr
valid sale 1 sale --json short.tlr
echo paper >DB/notes.txt
printf x | dd of=DB/GOODS bs=1 seek=20000 conv=notrunc 2>/dev/null
printf x | dd of=DB/BYCODE bs=1 seek=1 conv=notrunc 2>/dev/null
valid db-check 1 db check --json
# A host of one device, which is served once.
host=$(dirname "$tool")/tellira-synchost
if [ -x "$host" ]; then
  "$host" table create GOODS2 CODE:C:8 --index BYCODE2:CODE
  "$host" device add PDV-001
  echo CODE,A | tr , '\n' | "$host" import GOODS2 -
  "$host" --listen 127.0.0.1:0 2>listening &
  serving=$!
  trap 'kill $serving' EXIT
  while ! grep -q '^listening' listening; do
    kill -0 $serving
    sleep 0.1
  done
  port=$(sed -n 's/^listening on 127.0.0.1:\([0-9]*\).*/\1/p' listening)
  "$tool" sync config --host 127.0.0.1 --port "$port" --device PDV-001 2>/dev/null >&2
  valid synchost-status 0 synchost status --json
  valid sync-config 0 sync config --json
  valid sync-tasks 0 sync --dry-run --json
  valid sync 0 sync --json
  valid sync-log 0 sync log --json
  valid synchost-status 0 synchost status --json
  valid sync 1 sync --json --device PDV-002
fi
