#!/usr/bin/env bash
# Measures the release build in build/ and writes docs/performance.md.
#
#   bench/run.sh [--json FILE] [--quick]   all rows; --json keeps the raw figures; --quick takes a few
#                                          minutes less, prints the page and writes no file
#   bench/run.sh --check                   instructions per call against bench/instructions.txt
#   bench/run.sh --check --update          writes bench/instructions.txt anew
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

die() {
  printf 'bench: %s\n' "$*" >&2
  exit 1
}

json=
quick=
check=
update=
while (($#)); do
  case $1 in
    --json)
      json=${2:?a file}
      shift
      ;;
    --quick) quick=1 ;;
    --check) check=1 ;;
    --update) update=1 ;;
    *) die "no option '$1'" ;;
  esac
  shift
done

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

if [[ $check ]]; then
  command -v valgrind >/dev/null || die "valgrind is missing"
  [[ -x build/bin/zorf_instructions ]] || die "build/bin/zorf_instructions is not built"
  exec python3 bench/instructions.py build/bin/zorf_instructions bench/instructions.txt \
    ${update:+--update}
fi

[[ -x build/bin/zorf_bench ]] || die "build/bin/zorf_bench is not built"
options=(--benchmark_enable_random_interleaving=true --benchmark_out_format=json
  --benchmark_out="$scratch/rows.json")
if [[ $quick ]]; then
  options+=(--benchmark_repetitions=3 --benchmark_min_time=0.01)
else
  options+=(--benchmark_repetitions=9 --benchmark_min_time=0.05)
fi
build/bin/zorf_bench "${options[@]}" >"$scratch/log" 2>&1 || {
  cat "$scratch/log" >&2
  die "zorf_bench failed"
}
build/bin/zorf_bench --peak >"$scratch/peak"

[[ -z $json ]] || cp "$scratch/rows.json" "$json"
python3 bench/report.py "$scratch/rows.json" "$scratch/peak" >"$scratch/performance.md"
if [[ $quick ]]; then
  cat "$scratch/performance.md"
else
  cp "$scratch/performance.md" docs/performance.md
  sed -n '/^## Targets/,/^## Block/p' docs/performance.md | sed '$d'
  echo "written: docs/performance.md"
fi
