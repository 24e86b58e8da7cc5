#!/usr/bin/env bash
# Installing missing packages, with doubles for dpkg-query, apt-get and the user's identity.
#   packages_test.sh ROOT
set -u
source "$1/scripts/packages.sh"
status=0

# What the doubles answer: $installed lists packages; apt-get's n-th call ends with the n-th word of $endings.
dpkg() { echo amd64; }
dpkg-query() {
  case " $installed " in *" ${!#} "*) echo "amd64 installed" ;; *) return 1 ;; esac
}
id() { echo "$user"; }
sudo() { return 1; }
env() {
  local word endings_left
  for word in "$@"; do
    case $word in install | update) echo "$word" >>"$calls" ;; esac
  done
  read -r word endings_left <"$endings"
  echo "$endings_left" >"$endings"
  return "$word"
}

# try WHAT PATTERN USER INSTALLED ENDINGS: compares the exit status, the verbs of apt-get and the last line said.
try() {
  calls=$(mktemp) endings=$(mktemp)
  user=$3 installed=$4
  echo "$5" >"$endings"
  words=$(need_packages build 2>&1 </dev/null)
  found="$?/$(xargs <"$calls")/$(tail -n 1 <<<"$words")"
  rm -f "$calls" "$endings"
  [[ $found == $2 ]] && return
  printf '%s:\n  expected: %s\n  found:    %s\n' "$1" "$2" "$found"
  status=1
}

all=$(packages_of build)
advice='  apt-get update; apt-get install -y --no-install-recommends'
try 'all there' '0//' 0 "$all" ''
try 'lists are fresh' '0/install/*' 0 '' '0'
try 'no lists yet' '0/install update install/*' 0 '' '100 0 0'
try 'half an update' '0/install update install/*' 0 '' '100 100 0'
try 'cannot be had' "1/install update install/$advice ninja-build" 0 "${all/ninja-build/}" '100 100 100'
try 'neither root nor sudo' "1//$advice cmake" 1000 "${all/cmake/}" ''
exit "$status"
