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

# try WHAT USER INSTALLED ENDINGS: fills in $result (exit status), $called (verbs of apt-get) and $words.
try() {
  calls=$(mktemp) endings=$(mktemp)
  installed=$3 user=$2
  echo "$4" >"$endings"
  words=$(need_packages build 2>&1 </dev/null)
  result=$?
  called=$(xargs <"$calls")
  rm -f "$calls" "$endings"
}

expect() {
  [ "$2" = "$3" ] && return
  printf '%s:\n  expected: %s\n  found:    %s\n' "$1" "$2" "$3"
  status=1
}

all=$(packages_of build)
try 'all there' 0 "$all" ''
expect 'all there' '0//' "$result/$called/$words"

try 'lists are fresh' 0 '' '0'
expect 'lists are fresh' '0/install' "$result/$called"

try 'no lists yet' 0 '' '100 0 0'
expect 'no lists yet' '0/install update install' "$result/$called"

try 'half an update' 0 '' '100 100 0'
expect 'half an update' '0/install update install' "$result/$called"

try 'cannot be had' 0 "${all/ninja-build/}" '100 100 100'
expect 'cannot be had' '1/  apt-get update; apt-get install -y --no-install-recommends ninja-build' \
  "$result/$(tail -n 1 <<<"$words")"

try 'neither root nor sudo' 1000 "${all/cmake/}" ''
expect 'neither root nor sudo' '1//  apt-get update; apt-get install -y --no-install-recommends cmake' \
  "$result/$called/$(tail -n 1 <<<"$words")"
exit "$status"
