#!/bin/sh
# Runs every example that a help text prints, as it is printed.
#   help_examples_test.sh TOOL DEVICES EXAMPLES WORK     the devices' directory, that of examples/, one to work in
set -eu
PATH=$(dirname "$1"):$PATH
work=$4
rm -rf "$work"
mkdir -p "$work/base/build/release/lib/devices"
cp "$2"/*.so "$work/base/build/release/lib/devices"
ln -s "$3" "$work/base/examples"
cd "$work/base"
{ echo CODE,NAME,LIMIT; for i in $(seq 20); do echo "$i,Silva $i,$i.5"; done; } >customers.csv
gzip -k customers.csv
tr , ';' <customers.csv | sed 's/Silva/Jos\xE9/' >old.csv
tellira db create CUSTOMER CODE:C:12 NAME:C:30 LIMIT:N:12:2 2>/dev/null
tellira db import CUSTOMER customers.csv 2>/dev/null
tellira db index create CUSTOMER BYNAME NAME,CODE 2>/dev/null
for table in SALES CLIENTES; do
  tellira db create $table NAME:C:20 PRICE:N:10:2 DATE:D 2>/dev/null
  printf 'NAME,PRICE,DATE\ntea,1.5,2026-03-15\nback,-12.5,\n' | tellira db import $table - 2>/dev/null
done
tellira db index create SALES BYDATE DATE 2>/dev/null
tellira db index create SALES BYPRICE PRICE 2>/dev/null
tellira sync config --host 127.0.0.1 --port 7000 --device PDV-001 >/dev/null
cd "$work"

# The examples of one help text, one after the other in a directory of their own; then those of the verbs below.
count=0
try() {
  rm -rf shop
  cp -a base shop
  tellira help "$@" >help
  sed -n '/^Examples*\b/,/^$/s/^  \(.*\<tellira .*\)/\1/p' help | sed "s,   .*,,; s,/srv/pos,$work/shop,; s,10.0.0.5,127.0.0.1," >examples
  if grep -q 'db create CUSTOMER' examples; then tellira db --dir shop drop CUSTOMER --yes 2>/dev/null; fi
  if grep -q 'index create' examples; then tellira db --dir shop index drop CUSTOMER BYNAME 2>/dev/null; fi
  while read -r line; do
    count=$((count + 1))
    status=0
    (cd shop && sh -c "$line" </dev/null) >said 2>&1 || status=$?
    # Nobody serves the port of the examples: what they say is understood when the session comes to that.
    case $line in *"sync --host"*) ! grep -q '^Status = 1108$' said || status=0 ;; esac
    if [ $status -ne 0 ] || grep -q 'from the simulated device' said; then
      echo "$line"
      cat said
      exit 1
    fi
  done <examples
  for verb in $(sed -n '/^Subcommands:/,/^$/s/^  \([a-z]*\).*/\1/p' help); do try "$@" "$verb"; done
}
try
[ "$count" -ge 40 ] || { echo "only $count examples were found" && exit 1; }
