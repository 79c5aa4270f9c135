#!/usr/bin/env bash
# demo_test.sh BUILD: what ./dev demo and ./dev picture show of the tool, and that README shows the same.
set -euo pipefail
build=$1
sources=$(cd "$(dirname "$0")/../../.." && pwd)
demo=$sources/java/src/tool/demo.sh
export LC_ALL=C.UTF-8
unset COLUMNS ZORF_TOPOLOGY
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cd "$scratch"
# Samples and picture in a place of this run's own.
mkdir build
ln -s "$build/bin" "$build/lib" "$build/java" build
build=$PWD/build

fail() {
  echo "demo_test: $*" >&2
  exit 1
}

# plain: text as any run, machine and build has it, numbers as N.
plain() {
  sed -E "s,$build/,build/,g; s/\b($(id -un)|$(id -gn))\b/root/g; s/[0-9][0-9,.]*/N/g; s/ +/ /g; s/^ //; s/ $//"
}

"$demo" "$build" >shown 2>said || fail "samples: $(tail -5 shown said)"
[[ ! -s said ]] || fail "beside the commands it says: $(cat said)"
for part in 'events-40g.dat' '(local)' '(shared), no locations' '(rackaware)' '(rackaware-sort)' \
  'rack 4' 'of each' '@JNI_OnLoad:'; do
  grep -qF -- "$part" shown || fail "nothing of $part in $(cat shown)"
done

# README: its lines follow each other there too, but where "..." stands for some.
sed -n '/^\.\/dev demo$/,/^A picture/p' "$sources/README.md" | sed '1,/^```text$/d; /^```$/,$d' | plain >readme
[[ -s readme ]] || fail "README shows nothing of the demo"
plain <shown | awk '
  FNR == NR { wanted[++count] = $0; next }
  BEGIN { next_ = 1; anywhere = 1 }
  { while (wanted[next_] == "..." && next_ <= count) { ++next_; anywhere = 1 } }
  next_ <= count && $0 == wanted[next_] { ++next_; anywhere = 0; next }
  !anywhere { exit }
  END { if (next_ <= count) { print "not shown: " wanted[next_]; exit 1 } }' readme - ||
  fail "README shows something else than the demo: $(plain <shown)"

# What it says to try next can be tried.
grep "^  $build" shown | sed 's/^  //' >next
[[ $(wc -l <next) == 4 ]] || fail "to try next: $(cat next)"
while read -r command; do
  status=0
  eval "$command" >out 2>&1 </dev/null || status=$?
  # A machine without zorf, or a user without rights, has something for the doctor.
  [[ $status == 0 || ($status == 1 && $command == *doctor) ]] || fail "$command: $status, $(cat out)"
done <next

# A folder's largest file, whatever it is called; and a folder without any.
mkdir -p mine/below
echo small >mine/small
printf 'largest\nof all' >$'mine/lar ge\n$HOME'
"$demo" "$build" "$PWD/mine" >shown 2>&1 || fail "a folder: $(cat shown)"
grep -qF '14 B, 1 block of 128 MiB, 2 replicas (rackaware)' shown || fail "not the largest: $(cat shown)"
"$demo" "$build" "$PWD/mine/below" >shown 2>&1 || fail "an empty folder: $(cat shown)"
[[ $(tail -1 shown) == "There is no regular file in $PWD/mine/below, so there are no blocks to show." ]] ||
  fail "an empty folder: $(cat shown)"
! "$demo" "$build" "$PWD/mine/small" >shown 2>&1 || fail "a file is no folder"
[[ $(cat shown) == "demo: $PWD/mine/small is no directory" ]] || fail "a file: $(cat shown)"

"$demo" "$build" --picture >shown 2>&1 || fail "no picture: $(cat shown)"
grep -q '^<svg ' "$build/placement.svg" || fail "no picture in $(head -c 300 "$build/placement.svg")"
[[ $(tail -1 shown) == "drawn: $build/placement.svg" ]] || fail "of the picture it says $(cat shown)"
