#!/usr/bin/env bash
# demo.sh BUILD [FOLDER]: what a NameNode is told about the files of FOLDER, or of samples in BUILD/sample,
# shown by the tool of a build tree.
# demo.sh BUILD --picture [FILE]: draws where the blocks of FILE, or of a sample, lie: BUILD/placement.svg.
set -euo pipefail

build=$1
shift
tool=$build/bin/zorfhadoop
samples=$build/sample

# Of all sizes, the large ones without a byte on the disk; any number of runs may share them.
make_samples() {
  mkdir -p "$samples/logs"
  chmod 750 "$samples/logs"
  : >"$samples/empty"
  echo 'Files to be asked about.' >"$samples/readme.txt"
  printf '#!/bin/sh\nexec true\n' >"$samples/run.sh"
  chmod 755 "$samples/run.sh"
  printf '0123456789abcdef%.0s' {1..120} >"$samples/secret.key"
  chmod 600 "$samples/secret.key"
  ln -sfn events-40g.dat "$samples/latest"
  truncate -s 40G "$samples/events-40g.dat"
  truncate -s 1G "$samples/table-1g.dat"
}

# The racks that the stand-in has without further ado.
racks=()
if [[ -z ${ZORF_TOPOLOGY:-} ]]; then
  mkdir -p "$samples"
  for rack in 1 2 3 4; do echo "rack $rack:" "$rack"{1..6}; done >"$samples/racks"
  racks=(--topology "$samples/racks")
fi

if [[ ${1:-} == --picture ]]; then
  [[ -n ${2:-} ]] || make_samples
  "$tool" locate --rows 4 --svg "$build/placement.svg" "${racks[@]}" "${2:-$samples/events-40g.dat}"
  echo "drawn: $build/placement.svg"
  exit
fi

# show TITLE ARGUMENT...: a command of the tool and what it prints. One that fails doesn't stop the others.
failed=0
between=
show() {
  printf '%s# %s\n$ %s' "$between" "$1" "$tool"
  between=$'\n'
  shift
  printf ' %q' "$@"
  printf '\n'
  "$tool" "$@" 2>&1 || failed=1
}

if (($#)); then
  folder=$1
  [[ -d $folder ]] || { echo "demo: $folder is no directory" >&2 && exit 1; }
  IFS= read -rd '' file < <(find "$folder" -maxdepth 1 -type f -printf '%s %p\0' | sort -rnz) || true
  file=${file#* }
else
  folder=$samples
  make_samples
  file=$samples/events-40g.dat
fi
show 'The status of each file, and on how many locations its blocks lie' ls "$folder"
if [[ -z $file ]]; then
  echo
  echo "There is no regular file in $folder, so there are no blocks to show."
  exit "$failed"
fi
show 'More about one' status "$file"
# On another file system than zorf the status has another block size, by which blocks are counted.
blocks=(locate --rows 6 --as-on-zorf)
show 'Its blocks under each policy that a NameNode may have: the blocks of the file system' \
  "${blocks[@]}" --policy local "$file"
show 'the size of HDFS blocks, and nothing about locations' "${blocks[@]}" --policy shared "$file"
show 'HDFS blocks, where the file system places them' "${blocks[@]}" --policy rackaware "$file"
show 'HDFS blocks, with the locations that hold most of each' \
  "${blocks[@]}" --policy rackaware-sort "$file"
show 'A row for each location, a column for each group of blocks' locate --map --as-on-zorf "${racks[@]}" "$file"
show 'What the library logs when it loads and is asked' replication --debug "$file"

cat <<NEXT

To try next:
  $tool acl get $(printf %q "$file")
  $tool diagnose $(printf %q "$file")
  $tool doctor
  $tool help
docs/tool.md shows all commands, ./dev picture draws the map as build/placement.svg.
NEXT
exit "$failed"
