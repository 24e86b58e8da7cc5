# Configuring and building a preset quietly. Sourced by `run`, `check` and `.ci/run`; needs $root.

# ccache, where there is one that works, also serves a tree that lies elsewhere (a fresh clone).
if command -v ccache >/dev/null && ccache --show-stats >/dev/null 2>&1; then
  export CMAKE_C_COMPILER_LAUNCHER=ccache CMAKE_CXX_COMPILER_LAUNCHER=ccache
  export CCACHE_BASEDIR=$root CCACHE_NOHASHDIR=1
  # The tests' precompiled headers depend on nothing that these would tell apart.
  export CCACHE_SLOPPINESS=pch_defines,time_macros
fi

jobs=${TELLIRA_JOBS:-$(nproc)}

# Read by sanitized programs alone; what the caller has set himself comes last and wins.
export ASAN_OPTIONS="detect_leaks=1:halt_on_error=1:detect_stack_use_after_return=1:strict_string_checks=1:${ASAN_OPTIONS:-}"
export UBSAN_OPTIONS="halt_on_error=1:print_stacktrace=1:${UBSAN_OPTIONS:-}"

# logged FILE COMMAND...: keeps what the command prints in FILE and shows it (on standard error) only when it fails.
logged() {
  local log=$1 status=0
  shift
  "$@" >"$log" 2>&1 </dev/null || status=$?
  if [ "$status" -ne 0 ]; then
    cat "$log" >&2
    echo "failed (status $status): $*" >&2
  fi
  return "$status"
}

# is_configured PRESET [TESTS]: true when the build directory is there, not older than the presets, and (asked for with
# ON) builds the tests too.
is_configured() {
  local directory=$root/build/$1
  [ "$directory/build.ninja" -nt "$root/CMakePresets.json" ] || return 1
  [ "${2:-OFF}" = OFF ] || grep -qx 'TELLIRA_BUILD_TESTS:BOOL=ON' "$directory/CMakeCache.txt"
}

# configure PRESET TESTS: TESTS is ON or OFF. Tests once asked for stay, so that the two commands do not undo each
# other's configuration.
configure() {
  local preset=$1 tests=$2 directory=$root/build/$1
  is_configured "$preset" "$tests" && return 0
  if is_configured "$preset" ON; then tests=ON; fi
  mkdir -p "$directory"
  echo "configuring $preset" >&2
  (cd "$root" && logged "$directory/configure.log" cmake --preset "$preset" "-DTELLIRA_BUILD_TESTS=$tests")
}

# build PRESET TESTS [TARGET...]: configures and builds, everything when no target is named. One at a time in a
# directory: a second call waits for the first.
build() {
  local preset=$1 tests=$2 directory=$root/build/$1
  shift 2
  mkdir -p "$directory"
  (
    flock 9
    configure "$preset" "$tests"
    if ninja -C "$directory" -n "${@:-all}" | grep -q 'no work to do'; then return 0; fi
    echo "building $preset" >&2
    logged "$directory/build.log" cmake --build "$directory" --parallel "$jobs" --target "${@:-all}" 9>&-
  ) 9>"$directory/build.lock"
}
