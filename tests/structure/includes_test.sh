#!/bin/sh
# Reads the include lines of the whole tree and fails when one points up the floors.
#   includes_test.sh ROOT
set -eu
cd "$1"
status=0

# folder: what it may include of the folders of src/, as the beginnings of paths.
allowed='
src/runtime    runtime/
src/log        log/|runtime/
src/screen     screen/|runtime/
src/builtins   builtins/|runtime/
src/storage    storage/|runtime/|builtins/
src/adapters   adapters/|runtime/|builtins/
src/generated  generated/|runtime/|builtins/|adapters/
src/bridge     bridge/|runtime/|log/|builtins/|adapters/|generated/|screen/
src/vorne.h    runtime/|log/|builtins/|storage/|adapters/|generated/|screen/|bridge/
tools          generated/|adapters/native\.h[">]|storage/(disk_layout|tables)\.h[">]|storage/(repair/directory_check|reading/(dictionary|table_reader)|tables/(areas|bulk_load))\.h[">]|storage/format/(description|keys|record_bytes)\.h[">]|runtime/process\.h[">]
devices        generated/|adapters/native\.h[">]
'
floors=$(cd src && printf '%s|' */)none/

complain() {
  [ -z "$2" ] && return
  printf '%s:\n%s\n' "$1" "$2"
  status=1
}

# Lines of the form FILE:LINE:#include "PATH", of every source and header outside the tests.
lines=$(grep -rHnE '^\s*#\s*include\s*[<"]' src tools devices --include='*.[ch]' --include='*.cpp' --include='*.def')
[ "$(echo "$lines" | wc -l)" -ge 100 ] || complain 'few include lines: the wrong tree?' "$lines"
complain 'an include leaves its folder by ".."' "$(echo "$lines" | grep -E '[</"]\.\./')"
for from in $(echo "$lines" | sed -E 's,^(src/[^/:]*|[^/]*).*,\1,' | sort -u); do
  may=$(echo "$allowed" | sed -n "s,^$from  *,,p")
  [ -n "$may" ] || complain 'a folder without a row in includes_test.sh' "$from"
  complain "$from may not include" "$(echo "$lines" | grep "^$from[/:]" | grep -E "include\s*[<\"]($floors)" |
    grep -vE "include\s*[<\"](${may:-none/})")"
done
exit "$status"
