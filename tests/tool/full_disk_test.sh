#!/bin/sh
# Every verb that writes, on disks of many sizes that others fill up in between.
#   full_disk_test.sh TOOL WORK     the disks are mounted on WORK, which only this script sees
if [ -z "$3" ]; then
  unshare -rm true 2>/dev/null || exit 77
  exec unshare -rm sh "$0" "$1" "$2" inside
fi
set -u
# What ends by a failure of the runtime leaves its memory to the end of the process.
export ASAN_OPTIONS="${ASAN_OPTIONS:-}:detect_leaks=0"
tool=$1
disk=$2
failed=0
mkdir -p "$disk"

# try STATUSES ARGUMENT...: the verb ends so; with 3 it tells the file and the bytes wanted, and no inner state.
try() {
  statuses=$1
  shift
  status=0
  words=$("$tool" db "$@" 2>&1) || status=$?
  case "$status $words" in
    *RunTimeError* | *falhou*) ;;
    0* | 3*": No space left on device ("[0-9]*" bytes)"*) case $statuses in *$status*) return ;; esac ;;
  esac
  echo "$size kB: $*: exit status $status: $words" >&2
  failed=1
}

echo C,N,M >"$disk.csv"
for i in $(seq 900); do echo "key$i,$i,text $i"; done >>"$disk.csv"
for size in 24 48 72 96 120 140 160 180 200 230 260 300 340 380 420 460 500 600 700 800; do
  mount -t tmpfs -o size=${size}k tmpfs "$disk" && cd "$disk" || exit 77
  try "0 3" create T C:C:20 N:N:8:0 M:M
  made=$status
  [ $made = 0 ] && try "0 3" import T ../"${disk##*/}.csv"
  imported=$status
  [ $made = 0 ] && try "0 3" index create T I C
  indexed=$status
  # An offsets file of which nothing or a part could be written keeps nobody from reading.
  if [ $imported = 0 ]; then
    head -c $((size % 200)) DB/T_OS >fill
    cat fill >DB/T_OS
  fi
  head -c 1m /dev/zero >fill 2>/dev/null
  if [ $imported = 0 ]; then
    for verb in "export T" "delete T 5" "recall T 5" "delete T 7" "pack --yes T" "check"; do try 0 $verb; done
    try "0 3" import T ../"${disk##*/}.csv"
  fi
  [ $made = 0 ] && try "0 3" reindex T && try "0 3" index create T J N
  if [ $indexed = 0 ]; then
    # A copy that has no room is told once and leaves no directory.
    printf x | dd of=DB/I bs=1 seek=600 conv=notrunc 2>/dev/null
    "$tool" db check --repair --yes | grep 'could not' | sort | uniq -d | grep . && failed=1
    rmdir DB/repair-* 2>/dev/null && failed=1
    try 0 index drop T I
  fi
  [ $imported = 0 ] || try 0 check --repair --yes
  rm fill && mount -o remount,size=16m "$disk"
  [ $made = 0 ] || try 0 create T C:C:20 N:N:8:0 M:M
  for verb in check "import T ../${disk##*/}.csv" "index create T Z N,C" "pack --yes T" check; do try 0 $verb; done
  cd / && umount "$disk"
done
exit $failed
