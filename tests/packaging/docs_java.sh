#!/bin/sh
# docs_java.sh BUILD: the Java that README.md and docs/java.md show is that of docs/examples/Api.java, and
# what docs/java.md says that it prints is what it prints with this build tree.
set -eu
root=$(cd "$(dirname "$0")/../.." && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

# shown WORD NAME PAGE: the blocks of a page that are marked with the word and the name.
shown() {
  awk -v mark="\`\`\`$1 $2" '$0 == mark {inside = 1; next} /^```/ {inside = 0} inside' "$3"
}
# example NAME: the lines between its two marks, without what all of them are indented by.
example() {
  awk -v mark="// [$1]" '
    index($0, mark) {inside = !inside; indent = index($0, mark); next}
    inside {print substr($0, indent)}' "$root/docs/examples/Api.java"
}
# output NAME: what the example prints.
output() {
  awk -v mark="== $1" '/^== / {inside = $0 == mark; next} inside' "$scratch/output"
}

"$root/docs/examples/run.sh" "$1" Api >"$scratch/output" || {
  status=$?
  cat "$scratch/output"
  exit "$status"
}
for page in README.md docs/java.md; do
  names=$(sed -n 's/^```java *//p' "$root/$page")
  [ -n "$names" ]
  for name in $names; do
    shown java "$name" "$root/$page" >"$scratch/shown"
    example "$name" >"$scratch/example"
    [ -s "$scratch/example" ]
    diff "$scratch/shown" "$scratch/example"
  done
done
for name in $(sed -n 's/^```text //p' "$root/docs/java.md"); do
  shown text "$name" "$root/docs/java.md" >"$scratch/shown"
  output "$name" >"$scratch/printed"
  [ -s "$scratch/printed" ]
  diff "$scratch/shown" "$scratch/printed"
done
