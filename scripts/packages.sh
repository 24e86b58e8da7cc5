# The Debian packages that each job needs, and installing those that are missing.
# Sourced by `run`, `check` and `.ci/run`.

# One row a job: its name, then its packages. A job that stands on another one is asked for together with it.
package_table='
build   cmake ninja-build g++ zlib1g-dev libcli11-dev nlohmann-json3-dev libsqlite3-dev libncurses-dev libuv1-dev libpq-dev
test    libgtest-dev libgmock-dev python3-jsonschema
formats npm nodejs
line    tshark stunnel4 openssl tmux postgresql
i386    g++-multilib lib32z1-dev lib32ncurses-dev googletest python3-jsonschema
fuzz    clang libclang-rt-14-dev llvm
bench   libbenchmark-dev libsqlite3-dev liblmdb-dev sqlite3
format  clang-format git
'

# packages_of JOB: the row of one job; fails on a job without a row.
packages_of() {
  local job packages
  while read -r job packages; do
    if [ "$job" = "$1" ]; then
      echo "$packages"
      return 0
    fi
  done <<<"$package_table"
  echo "there is no package list for the job \"$1\"" >&2
  return 1
}

# is_installed PACKAGE: true when this machine's own variant is; a foreign architecture's would not do.
is_installed() {
  dpkg-query -W -f '${Architecture} ${db:Status-Status}\n' "$1" 2>/dev/null |
    grep -qxE "(all|$native_architecture) installed"
}

# as_root COMMAND...: runs it as root, asking for a password only where somebody can type one.
as_root() {
  if [ "$(id -u)" -eq 0 ]; then
    "$@"
  elif ! command -v sudo >/dev/null; then
    return 1
  elif [ -t 0 ]; then
    sudo "$@"
  else
    sudo -n "$@"
  fi
}

# apt_get COMMAND...: apt-get without questions, waiting a while for another one that holds the lock.
apt_get() {
  as_root env DEBIAN_FRONTEND=noninteractive apt-get -qq -y -o Dpkg::Use-Pty=0 -o DPkg::Lock::Timeout=120 "$@" >&2
}

# The lists are fetched only when the installation fails without: they may be fresh, and one of them out of step (or a
# mirror that is down) is no harm as long as the packages themselves can be had. What the first try complains of is either
# mended by the lists or said again by the second.
install_packages() {
  as_root true || return 1
  apt_get install --no-install-recommends "$@" 2>/dev/null && return 0
  apt_get update || echo "apt-get update did not end well; trying with the lists there are" >&2
  apt_get install --no-install-recommends "$@"
}

# need_packages JOB...: makes sure that the packages of the jobs are there. With all of them there it calls nothing but
# dpkg-query. On failure it prints the one line to run and ends the script.
need_packages() {
  local job package packages missing=()
  if ! command -v dpkg-query >/dev/null; then
    echo "this is no Debian system: the tools and libraries named in scripts/packages.sh must be there already" >&2
    return 0
  fi
  native_architecture=$(dpkg --print-architecture)
  for job in "$@"; do
    packages=$(packages_of "$job")
    for package in $packages; do
      is_installed "$package" || missing+=("$package")
    done
  done
  if [ ${#missing[@]} -eq 0 ]; then return 0; fi

  echo "installing Debian packages: ${missing[*]}" >&2
  if ! install_packages "${missing[@]}"; then
    echo "These Debian packages are missing and could not be installed here. Run this line as root, then try again:" >&2
    echo "  apt-get update; apt-get install -y --no-install-recommends ${missing[*]}" >&2
    exit 1
  fi
}
