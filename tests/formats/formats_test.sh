#!/bin/sh
# Formats of the files against their descriptions and against files of earlier builds.
#   formats_test.sh reference|kaitai PROGRAM WORK     PROGRAM is sample_databases, WORK a directory to work in
# Exit status 77, not tested, where npm's packages cannot be had; with TELLIRA_NO_SKIP set that is a failure.
set -eu
export LC_ALL=C
here=$(dirname "$(readlink -f "$0")")
program=$2
work=$3

fresh() {
  rm -rf "$1"
  mkdir -p "$1"
}

# Unpacks the reference and writes what must be the same. The reference was made of DB and waiting_index, which
# `sample_databases DIR` writes, and of what check_formats.js prints of them, found.json, after a look at every difference. It is
# made anew only when what the files hold changes on purpose; what is in the field must be readable all the same.
unpack() {
  fresh "$work/written"
  fresh "$work/kept"
  tar -xzf "$here/reference.tar.gz" -C "$work/kept"
  "$program" "$work/written"
}

reference() {
  unpack
  diff -r -x found.json "$work/kept" "$work/written"
}

# Packages from the committed lock file, kept in WORK until that changes.
install_packages() {
  cmp -s "$here/package-lock.json" "$work/node/installed.json" && return
  fresh "$work/node"
  cp "$here/package-lock.json" "$work/node"
  (cd "$here" && node -p 'JSON.stringify(require("./package-lock.json").packages[""])') >"$work/node/package.json" || return
  (cd "$work/node" && npm ci --no-audit --no-fund --prefer-offline --loglevel=error --fetch-retries=1) || return
  cp "$here/package-lock.json" "$work/node/installed.json"
}

kaitai() {
  if ! install_packages; then
    echo "not tested: docs/formats, since npm or its packages (tests/formats/package-lock.json) cannot be had here" >&2
    [ -n "${TELLIRA_NO_SKIP:-}" ] || exit 77
    exit 1
  fi
  fresh "$work/parsers"
  unpack
  NODE_PATH=$work/node/node_modules node "$here/check_formats.js" "$here/../../docs/formats" "$work/parsers" "$work/written" \
    >"$work/found.json"
  diff "$work/kept/found.json" "$work/found.json"
}

"$1"
