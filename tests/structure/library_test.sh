#!/bin/sh
# Reads the built library: what it exports, and what it asks the host for.
#   library_test.sh FILE SANITIZERS      SANITIZERS is empty for a plain build
set -eu
export LC_ALL=C
status=0

expect() {
  [ "$2" = "$3" ] && return
  printf '%s:\n  expected: %s\n  found:    %s\n' "$1" "$2" "$3"
  status=1
}

exported=$(nm --dynamic --defined-only "$1" | awk '{ print $NF }' | sort | xargs)
expect 'exported names' 'ExecInClientDLL SetCheckBuffer SetEncode' "$exported"

# A host may be written in anything: of C++ nothing may be asked for but the one unwinder of a process. The sanitizers bring libraries of their own.
if [ -z "$2" ]; then
  foreign=$(readelf --dynamic --wide "$1" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' |
    grep -vxE 'lib(c|m)\.so\.6|lib(gcc_s|z)\.so\.1|ld-linux.*' | xargs)
  expect 'libraries needed besides libc, libm, libgcc_s and zlib' '' "$foreign"
fi

# Found through a search path the library could meet another file of the same name in the field.
expect 'search path' '' "$(readelf --dynamic --wide "$1" | grep -E '\((RPATH|RUNPATH)\)' || true)"
exit "$status"
