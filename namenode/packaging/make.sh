#!/usr/bin/env bash
# make.sh JARS: builds zorf-namenode_*.deb and an archive in build/packages, of JARS, the directory with the
# service's jar and all that it uses, and has lintian look at it where it is installed. The archive has
# libzorfhadoop in it and needs nothing but Java and the client library; the package takes it from others.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
root=$(cd "$here/../.." && pwd)
jars=$(cd "$1" && pwd)
out=$root/build/packages
umask 022

version=$(sed -n 's/^project(zorfhadoop VERSION \([0-9.]*\) .*/\1/p' "$root/CMakeLists.txt")
soversion=${version%.*}
hadoop=$(basename "$jars"/hadoop-hdfs-client-*.jar .jar)
hadoop=${hadoop##*-}
tree=$(mktemp -d)
trap 'rm -rf "$tree"' EXIT
chmod 755 "$tree"
mkdir -p "$out"

step() {
  echo "package: $*"
}

# fill FILE: what it says with the versions in it.
fill() {
  sed "s/@VERSION@/$version/g; s/@SOVERSION@/$soversion/g; s/@HADOOP@/$hadoop/g; s/@SIZE@/${size:-0}/g" "$1"
}

# common PREFIX BIN: what package and archive have in common.
common() {
  install -d "$1/share/zorf-namenode" "$1/$2" "$1/share/man/man8" "$1/share/doc/zorf-namenode"
  install -m 644 "$jars"/*.jar "$1/share/zorf-namenode"
  fill "$here/zorf-namenode" >"$1/$2/zorf-namenode"
  chmod 755 "$1/$2/zorf-namenode"
  gzip -9n <"$here/zorf-namenode.8" >"$1/share/man/man8/zorf-namenode.8.gz"
  # Of other pages only the names: they are not installed beside it.
  sed -E 's/\[([^]]+)\]\([a-z-]+\.md(#[^)]*)?\)/\1/g' "$root/docs/namenode.md" \
    >"$1/share/doc/zorf-namenode/namenode.md"
  fill "$here/copyright.in" >"$1/share/doc/zorf-namenode/copyright"
  (cd "$jars" && printf '%s\n' *.jar) >"$1/share/doc/zorf-namenode/jars"
}

# configuration DIRECTORY
configuration() {
  install -d "$1"
  install -m 644 "$here"/etc/* "$root/namenode/src/main/resources/log4j.properties" "$1"
}

deb=$tree/deb
common "$deb/usr" sbin
configuration "$deb/etc/zorf-namenode"
install -Dm 644 "$here/zorf-namenode.service" "$deb/lib/systemd/system/zorf-namenode.service"
install -Dm 644 "$here/lintian-overrides" "$deb/usr/share/lintian/overrides/zorf-namenode"
sed 's/^libzorfhadoop /zorf-namenode /' "$root/packaging/debian/changelog" |
  gzip -9n >"$deb/usr/share/doc/zorf-namenode/changelog.Debian.gz"
gzip -9n <"$root/CHANGELOG.md" >"$deb/usr/share/doc/zorf-namenode/changelog.gz"
size=$(du -sk --apparent-size "$deb" | cut -f1)
install -d "$deb/DEBIAN"
fill "$here/control.in" >"$deb/DEBIAN/control"
install -m 755 "$here"/{postinst,prerm,postrm} "$deb/DEBIAN"
(cd "$deb" && find etc -type f -printf '/%p\n' | sort) >"$deb/DEBIAN/conffiles"
(cd "$deb" && find usr lib -type f -print0 | sort -z | xargs -0 md5sum) >"$deb/DEBIAN/md5sums"
rm -f "$out"/zorf-namenode[_-]*
# Most of it is compressed already.
dpkg-deb --root-owner-group -z1 --build "$deb" "$out/zorf-namenode_$version-1_all.deb" >/dev/null

name=zorf-namenode-$version-linux-x86_64
common "$tree/$name" bin
configuration "$tree/$name/etc/zorf-namenode"
install -m 644 "$root/build/java/zorfhadoop.jar" "$tree/$name/share/zorf-namenode"
install -D -s -m 755 "$root/build/lib/libzorfhadoop.so.$soversion" "$tree/$name/lib/libzorfhadoop.so.$soversion"
tar -C "$tree" --owner=0 --group=0 --numeric-owner --sort=name -czf "$out/$name.tar.gz" "$name"

for file in "$out"/zorf-namenode[_-]*; do
  step "made ${file#"$root/"} ($(du -h --apparent-size "$file" | cut -f1))"
done
if command -v lintian >/dev/null; then
  lintian --allow-root --fail-on error,warning --display-info "$out"/zorf-namenode_*.deb
  step "lintian has nothing to say against it"
fi
