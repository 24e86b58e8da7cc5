# run_document.sh DOCUMENT WORDS FILE...: runs the commands of the document's console blocks, in turn, in a directory that
# holds the files, and compares what they print with what the document shows. A block with words behind "console" is left
# out unless all of them are among WORDS.
set -eu
export LC_ALL=C.UTF-8
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
awk -v words=" $2 " '
  /^```/ { inside = !inside && $1 == "```console"; for (i = 2; i <= NF; ++i) if (!index(words, " " $i " ")) inside = 0; next }
  inside' "$1" >"$directory/blocks"
shift 2
mkdir "$directory/work"
ln -s "$@" "$directory/work"
cd "$directory/work"
sed -n 's/^[$>] //p' ../blocks >../commands
sed 's/^[$>] //' ../blocks >../shown
# The shell prints the commands as it reads them.
PATH=$PWD:$PATH bash -v ../commands >../printed 2>&1 || echo "exit status $?" >>../printed
test -s ../commands
diff ../shown ../printed
