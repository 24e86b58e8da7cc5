#!/bin/sh
# Reads the include lines of the whole tree and fails when one points up the floors.
#   includes_test.sh ROOT
set -eu
cd "$1"

# folder: the folders of src/ that it may include besides itself. A row of tools or devices names headers instead.
allowed='
src/runtime
src/screen     runtime
src/builtins   runtime
src/adapters   runtime builtins
src/generated  runtime builtins adapters
src/bridge     runtime builtins adapters generated screen
src/vorne.h    runtime builtins adapters generated screen bridge
tools          generated/* adapters/native.h
devices        generated/* adapters/native.h
'

# Lines of the form FILE:LINE:#include "PATH", of every source and header outside the tests.
include_lines() {
  find src tools devices -type f \( -name '*.c' -o -name '*.cpp' -o -name '*.h' -o -name '*.def' \) -exec \
    grep -Hn '^[[:space:]]*#[[:space:]]*include[[:space:]]*[<"]' {} +
}

include_lines | ALLOWED="$allowed" FOLDERS="$(cd src && echo */)" awk '
  BEGIN {
    rows = split(ENVIRON["ALLOWED"], row, "\n")
    for (i = 1; i <= rows; i++) {
      words = split(row[i], word)
      if (words > 0) known[word[1]] = 1
      for (j = 2; j <= words; j++) may[word[1], word[j]] = 1
    }
    count = split(ENVIRON["FOLDERS"], folder, "/ *")
    for (i = 1; i <= count; i++) if (folder[i] != "") floor[folder[i]] = 1
  }
  function complain(why) { print $0 ": " why; wrong = 1 }
  {
    split($0, part, ":")
    split(part[1], step, "/")
    from = step[1] == "src" ? "src/" step[2] : step[1]
    path = $0
    sub(/^[^<"]*[<"]/, "", path)
    sub(/[>"].*$/, "", path)
    to = path
    sub(/\/.*$/, "", to)
    seen++
    if (!(from in known)) complain("the folder " from " has no row in includes_test.sh")
    else if (path ~ /(^|\/)\.\.\//) complain("an include leaves its folder by \"..\"")
    else if (index(path, "/") == 0 || !(to in floor) || from == "src/" to) next
    else if (!((from, to) in may) && !((from, to "/*") in may) && !((from, path) in may))
      complain(from " may not include " path)
  }
  END {
    if (seen < 100) { print "only " seen " include lines were found: the wrong tree?"; wrong = 1 }
    exit wrong
  }'
