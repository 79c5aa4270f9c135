#!/usr/bin/env bash
# run.sh [--quick] [--files N] [--seconds S] [--only apache|zorf] JAVA...: measures Apache's NameNode and this
# one, one after the other, on a tmpfs of their own, each with clients in a JVM of their own. Called by
# ./dev namenode with the Java to run and its class path. The figures of each stay in build/namenode/bench.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
root=$(dirname "$(dirname "$here")")
out=$root/build/namenode/bench
thousands=1000
seconds=6
quick=
services=(apache zorf)
while [[ ${1:-} == --* ]]; do
  case $1 in
    --quick)
      quick=1
      thousands=100
      seconds=1.5
      shift
      continue
      ;;
    --files) thousands=${2:?a number of thousands} ;;
    --seconds) seconds=${2:?a number} ;;
    --only) services=("${2:?a service}") ;;
    *)
      echo "bench: no option '$1'" >&2
      exit 2
      ;;
  esac
  shift 2
done
mkdir -p "$out"

scratch=$(mktemp -d)
trap 'umount "$scratch" 2>/dev/null; rmdir "$scratch"' EXIT
mount -t tmpfs -o mode=755,size=12g,nr_inodes=0 tmpfs "$scratch"
for service in "${services[@]}"; do
  rm -rf "${scratch:?}"/*
  machine="machine.date=$(date -u +%F)
machine.load=$(cut -d' ' -f1-3 /proc/loadavg | sed 's/ /, /g')"
  figures=$out/$service.properties
  "$@" zorf.namenode.bench.Bench "$service" "$scratch" "$figures" "$seconds" "$thousands"
  echo "$machine" >>"$figures"
done

for service in apache zorf; do
  [[ -s $out/$service.properties ]] || exit 0 # the other one has not been measured
done
"$@" zorf.namenode.bench.Page "$out" >"$out/page.md"
if [[ $quick ]]; then
  cat "$out/page.md"
else
  # The tables of the page are these; what stands around them is written by hand.
  page=$root/docs/performance-namenode.md
  sed -i -e "/^<!-- measured -->/,/^<!-- end -->/{/^<!-- measured/r $out/page.md
    /^<!--/!d}" "$page"
  echo "written: docs/performance-namenode.md"
fi
