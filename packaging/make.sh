#!/usr/bin/env bash
# make.sh: builds build/packages/*.deb and *.tar.gz, and has lintian look at them where it is installed.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=$root/build-package
out=$root/build/packages

umask 022

step() {
  echo "package: $*"
}

# A build of its own, of what is packaged: the prefix decides where Debian's library directory is.
step "building in ${build#"$root/"}"
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=/usr \
  -DCPACK_PACKAGE_DIRECTORY="$out" -DCMAKE_SKIP_INSTALL_ALL_DEPENDENCY=ON -DBUILD_TESTING=OFF \
  -DZORF_BENCH=OFF >/dev/null
targets=(zorfhadoop zorf zorfhadoop_jar zorfhadoop_javadoc zorfhadoop_tool_texts)
# Only where its libraries are installed.
! grep -q zorf-datanode "$build/build.ninja" || targets+=(zorf-datanode zorf_datanode_manpage)
cmake --build "$build" --target "${targets[@]}" \
  -- --quiet | sed '/no work to do/d; /^-- Clean class files/d'
step "packing"
mkdir -p "$out"
rm -f "$out"/*.deb "$out"/*.tar.gz
(cd "$build" && cpack >cpack.log 2>&1) || {
  cat "$build/cpack.log" >&2
  exit 1
}
for file in "$out"/*.deb "$out"/*.tar.gz; do
  step "made ${file#"$root/"} ($(du -h --apparent-size "$file" | cut -f1))"
done

if command -v lintian >/dev/null; then
  lintian --allow-root --fail-on error,warning --display-info "$out"/*.deb
  step "lintian has nothing to say against them"
fi
