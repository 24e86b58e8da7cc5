# run_host.sh PROGRAM LIBRARY_DIRECTORY: the example host against simulated devices in a directory of their own.
set -eu
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
cp "$2"/devices/*.so "$directory"
cd "$directory"
answer=$(LD_LIBRARY_PATH=$2 "$1")
[ "$answer" = "1
1|000000
1" ] || { echo "the host printed: $answer" >&2; exit 1; }
