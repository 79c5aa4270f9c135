#!/bin/sh
# docs_formats.sh BUILD: the dumps of docs/formats.md are what the library of this build tree returns.
set -eu
root=$(cd "$(dirname "$0")/../.." && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

# The page has an order of its own: each line gets its example's name and number in front.
by_name() {
  awk '/^== /{name = $2} {print name "\t" ++line[name] "\t" $0}' | LC_ALL=C sort -k1,1 -k2,2n
}
awk '/^```hex /{print "== " $2; inside = 1; next} /^```/{inside = 0} inside' "$root/docs/formats.md" |
  by_name >"$scratch/documented"
"$root/docs/examples/run.sh" "$1" >"$scratch/output" || {
  status=$?
  cat "$scratch/output"
  exit "$status"
}
by_name <"$scratch/output" >"$scratch/returned"
[ -s "$scratch/documented" ]
diff "$scratch/documented" "$scratch/returned"
