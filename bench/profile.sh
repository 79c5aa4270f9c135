#!/usr/bin/env bash
# Where the time of some rows goes: samples them with perf and prints lines "native how place percent",
# where place is kernel, jvm (with the compiled Java code), libc, libacl, library or benchmark. Prints
# nothing where perf can't sample.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

rows=({getFileStatusNative,getLinkTargetNative,getAclStatus,getXAttrs}/{bare,values,floor,native}
  {setPermission,getFsName,getUid,getGid}/{java,native})

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
export ZORF_BENCH_HEAP=256m  # touched before the first sample
perf record -q -e cpu-clock -o "$scratch/try" true 2>/dev/null || {
  echo "bench: perf can't sample here: no profile" >&2
  exit 0
}

for row in "${rows[@]}"; do
  perf record -q -D 2500 -e cpu-clock -F 1999 -o "$scratch/samples" build/bin/zorf_bench \
    "--benchmark_filter=^$row/real_time(/threads:1)?\$" --benchmark_min_time=4 >/dev/null 2>&1
  perf report -i "$scratch/samples" --comm zorf_bench --sort dso --stdio 2>/dev/null |
    awk -v row="${row/\// }" '
      function place() {
        if (/kernel/) return "kernel"
        if (/libjvm|JIT|libnio|libjava/) return "jvm"
        if (/libc\.|ld-linux|vdso/) return "libc"
        if (/libacl/) return "libacl"
        return /libzorfhadoop/ ? "library" : "benchmark"
      }
      /^ *[0-9.]+%/ { share[place()] += $1 }
      END { for (p in share) printf "%s %s %.2f\n", row, p, share[p] }'
done
