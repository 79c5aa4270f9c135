#!/usr/bin/env bash
# demo.sh [SIZE]: a NameNode and a DataNode on a scratch directory, and Apache's client, which puts a file
# of SIZE bytes (1 GiB), reads it, appends to it, compares and deletes it. Called as ./dev datanode demo.
set -euo pipefail
size=${1:-1073741824}
tree=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
scratch=$(mktemp -d)
processes=()
trap 'kill "${processes[@]}" 2>/dev/null; wait; rm -rf "$scratch"' EXIT
cd "$scratch"
chmod 755 .
mkdir -m 777 root
(umask 077 && echo "1 $(od -An -N32 -tx1 /dev/urandom | tr -d ' \n')" >keys)

# told FILE PATTERN: what follows it in a log, waited for.
told() {
  local i found
  for ((i = 0; i < 600; ++i)); do
    found=$(sed -n "s,.*$2,,p" "$1" 2>/dev/null)
    [[ -z $found ]] || { echo "${found%% *}" && return; }
    sleep 0.1
  done
  cat "$1" >&2
  return 1
}
"$tree/build/bin/zorf-datanode" --root root --key keys --port 0 2>datanode.log &
processes+=($!)
address=$(told datanode.log 'listens at ')
# The stand-in's locations, all of them here.
for location in {1..4}{1..6}; do echo "$location $address /rack1"; done >topology
"$tree/namenode/dev" run --root root --key keys --topology topology --port 0 --http-port off >namenode.log 2>&1 &
processes+=($!)
where=$(told namenode.log 'hdfs://')
hdfs() {
  echo "\$ hdfs dfs $*" >&2
  "$tree/namenode/dev" hdfs dfs -fs "hdfs://$where" "$@"
}
timed() {
  local start=$EPOCHREALTIME
  "$@"
  awk -v "s=$start" -v "e=$EPOCHREALTIME" 'BEGIN { printf "  %.1f s\n", e - s }' >&2
}

head -c "$size" /dev/urandom >file
head -c 100000 /dev/urandom >more
timed hdfs -put file /
timed hdfs -cat /file >again
cmp again file && echo "  the same bytes"
hdfs -appendToFile more /file
cat more >>file
cmp file root/file && echo "  the same bytes on the mount"
hdfs -checksum /file
hdfs -ls /
hdfs -rm -skipTrash /file
sed 's/^/datanode: /' datanode.log
