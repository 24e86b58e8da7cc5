#!/bin/sh
# What the verbs of `tellira db` print as JSON, against docs/schemas.
#   schemas_test.sh TOOL WORK     WORK is a directory to work in
set -eu
tool=$1
work=$2
schemas=$(dirname "$(readlink -f "$0")")/../../docs/schemas
python=
for candidate in python3 /usr/bin/python3; do
  if [ -z "$python" ] && $candidate -c 'import jsonschema' 2>/dev/null; then python=$candidate; fi
done
if [ -z "$python" ]; then
  echo "jsonschema is missing: ./check installs it (Debian package python3-jsonschema)" >&2
  exit 1
fi

# valid VERB STATUS ARGUMENT...: the answer fits the verb's schema and the exit status is the one told.
valid() {
  verb=$1
  wanted=$2
  shift 2
  status=0
  "$tool" db --dir "$work" "$verb" "$@" --json >"$work/answer.json" 2>"$work/words" || status=$?
  if [ "$status" != "$wanted" ]; then
    echo "db $verb $*: exit status $status instead of $wanted" >&2
    exit 1
  fi
  "$python" - "$schemas/db-$verb.json" "$work/answer.json" <<'END'
import json, sys
import jsonschema

schema, answer = (json.load(open(name, encoding="utf-8")) for name in sys.argv[1:])
jsonschema.Draft202012Validator.check_schema(schema)
jsonschema.Draft202012Validator(schema).validate(answer)
# A schema that takes anything would prove nothing: without a member that it requires no answer may pass.
subject = answer[0] if isinstance(answer, list) else answer
for member in schema.get("items", schema)["required"]:
    broken = {key: value for key, value in subject.items() if key != member}
    assert not jsonschema.Draft202012Validator(schema).is_valid([broken] if isinstance(answer, list) else broken), member
END
}

rm -rf "$work"
mkdir -p "$work"
"$tool" db --dir "$work" create GOODS CODE:C:12 PRICE:N:12:2 SINCE:D SOLD:L NOTES:M 2>/dev/null
printf 'CODE,PRICE,SINCE,NOTES\nA,1.5,2004-03-17,"two\nlines"\nB,,,\n' | "$tool" db --dir "$work" import GOODS - 2>/dev/null
"$tool" db --dir "$work" index create GOODS BYCODE CODE 2>/dev/null
valid list 0
valid schema 0 GOODS
valid schema 0 BYCODE
valid seek 0 GOODS BYCODE A --deleted
valid seek 1 GOODS BYCODE AA --soft
valid seek 1 GOODS BYCODE C --soft
valid check 0
echo paper >"$work/DB/notes.txt"
printf x | dd of="$work/DB/GOODS" bs=1 seek=20000 conv=notrunc 2>/dev/null
printf x | dd of="$work/DB/BYCODE" bs=1 seek=1 conv=notrunc 2>/dev/null
valid check 1
