#!/bin/sh
# How calls end in a host in C, through the built library, with vendor libraries as their makers build them.
# A compiler that is missing is left out; with TELLIRA_NO_SKIP set that is a failure.
#   endings_test.sh HOST LIBRARY VENDOR.cpp CXX FLAGS
set -eu
export LC_ALL=C
host=$1 library=$2 source=$3 cxx=$4 flags=$5
status=0
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cd "$scratch"

# ends WHAT COMMAND STATUS LAST_LINE
ends() {
  found=0
  "$host" "$library" "$2" >said 2>&1 </dev/null || found=$?
  found="$found $(tail -n 1 said)"
  [ "$found" = "$3 $4" ] && return
  printf '%s, %s:\n  expected: %s\n  found:    %s\n' "$1" "$2" "$3 $4" "$found"
  status=1
}

ends 'no vendor library' ECF_LeituraX 0 'RunTimeError = 133'
for compiler in "$cxx" clang++; do
  if ! command -v "$compiler" >/dev/null; then
    echo "not tested: vendor libraries built by $compiler, which is not there" >&2
    [ -z "${TELLIRA_NO_SKIP:-}" ] || status=1
    continue
  fi
  for link in -shared-libgcc -static-libstdc++ '-static-libstdc++ -static-libgcc'; do
    # The flags are words, and a linker may find one of them unused.
    "$compiler" $flags -w -shared -fPIC $link -o libconvecf.so "$source"
    ends "$compiler $link" ECF_LeituraX 0 'SAIU PELO CATCH.....'
    ends "$compiler $link" ECF_AbrePortaSerial 0 'SAIU PELO CATCH.....'
  done
done
ends 'no such function' ECF_LeituraXSerial 0 'RunTimeError = 134'
ends 'no such command' ECF_Leitur 1 '<Enter>'
exit "$status"
