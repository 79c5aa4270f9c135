#!/bin/sh
# install_test.sh BUILD LIBDIR: what an installation of this build tree has, and that the tool works from
# there, with the stand-in only when it is asked for.
set -eu
build=$1
libdir=$2
prefix=$(mktemp -d "$build/install-XXXXXX")
trap 'rm -rf "$prefix"' EXIT
# An installation is for everybody, whatever mask the tests run under.
umask 022
cmake --install "$build" --prefix "$prefix/usr" >"$prefix/log" || { cat "$prefix/log"; exit 1; }

fail() {
  echo "install_test: $*" >&2
  exit 1
}

(cd "$prefix/usr" && find . ! -type d | LC_ALL=C sort) >"$prefix/found"
datanode=
# Built only where its libraries are installed.
[ ! -e "$build/bin/zorf-datanode" ] || datanode="./lib/systemd/system/zorf-datanode.service
./sbin/zorf-datanode
./share/doc/zorf-datanode/changelog.Debian.gz
./share/doc/zorf-datanode/changelog.gz
./share/doc/zorf-datanode/copyright
./share/doc/zorf-datanode/datanode.md
./share/doc/zorf-datanode/examples/datanode.conf
./share/lintian/overrides/zorf-datanode
./share/man/man8/zorf-datanode.8.gz"
grep . <<FILES | LC_ALL=C sort >"$prefix/expected"
./bin/zorfhadoop
./$libdir/jni/libzorfhadoop.so
./$libdir/libzorfhadoop.so.2.7
./$libdir/zorfhadoop-standin/libzorf.so
./share/bash-completion/completions/zorfhadoop
./share/doc/libzorfhadoop-jni/changelog.Debian.gz
./share/doc/libzorfhadoop-jni/changelog.gz
./share/doc/libzorfhadoop-jni/copyright
./share/doc/libzorfhadoop2.7/changelog.Debian.gz
./share/doc/libzorfhadoop2.7/changelog.gz
./share/doc/libzorfhadoop2.7/copyright
./share/doc/libzorfhadoop2.7/errors.md
./share/doc/libzorfhadoop2.7/examples/Api.java
./share/doc/libzorfhadoop2.7/formats.md
./share/doc/libzorfhadoop2.7/java.md
./share/doc/libzorfhadoop2.7/operations.md
./share/doc/zorfhadoop-standin/changelog.Debian.gz
./share/doc/zorfhadoop-standin/changelog.gz
./share/doc/zorfhadoop-standin/copyright
./share/doc/zorfhadoop-tools/changelog.Debian.gz
./share/doc/zorfhadoop-tools/changelog.gz
./share/doc/zorfhadoop-tools/copyright
./share/doc/zorfhadoop-tools/placement.svg
./share/doc/zorfhadoop-tools/tool.md
./share/doc/zorfhadoop-tools/zorfhadoop-javadoc.jar
./share/doc/zorfhadoop-tools/zorfhadoop-sources.jar
./share/java/zorfhadoop/zorfhadoop-tool.jar
./share/java/zorfhadoop/zorfhadoop.jar
./share/lintian/overrides/libzorfhadoop-jni
./share/lintian/overrides/libzorfhadoop2.7
./share/lintian/overrides/zorfhadoop-standin
./share/lintian/overrides/zorfhadoop-tools
./share/man/man1/zorfhadoop.1.gz
./share/maven-repo/zorf/zorfhadoop/2.7.0/zorfhadoop-2.7.0.jar
./share/maven-repo/zorf/zorfhadoop/2.7.0/zorfhadoop-2.7.0.pom
$datanode
FILES
diff "$prefix/expected" "$prefix/found"

# What the documents link to is installed beside them.
for document in "$prefix"/usr/share/doc/*/*.md; do
  grep -o '](\([^)#:]\+\)' "$document" | sed 's/^](//' | while read -r target; do
    [ -e "${document%/*}/$target" ] || fail "$document links to $target"
  done
done
jar=$prefix/usr/share/maven-repo/zorf/zorfhadoop/2.7.0/zorfhadoop-2.7.0.jar
[ "$(readlink -f "$jar")" = "$(readlink -f "$prefix/usr/share/java/zorfhadoop/zorfhadoop.jar")" ] ||
  fail "the link for Maven leads elsewhere"

lib=$prefix/usr/$libdir
[ "$(readlink "$lib/jni/libzorfhadoop.so")" = ../libzorfhadoop.so.2.7 ] || fail "the link for Java"
[ "$(readlink -f "$lib/jni/libzorfhadoop.so")" = "$(readlink -f "$lib/libzorfhadoop.so.2.7")" ] ||
  fail "the link for Java leads nowhere"
LC_ALL=C readelf -d "$lib/libzorfhadoop.so.2.7" >"$prefix/dynamic"
grep -q 'soname: \[libzorfhadoop\.so\.2\.7\]' "$prefix/dynamic" || fail "the soname"
# shellcheck disable=SC2016  # the loader's own variable
grep -q 'runpath: \[$ORIGIN\]' "$prefix/dynamic" || fail "the run path"

tool=$prefix/usr/bin/zorfhadoop
unset LD_LIBRARY_PATH ZORFHADOOP_LIBRARY
if "$tool" status "$prefix/log" >"$prefix/out" 2>"$prefix/err"; then
  fail "the stand-in is used unasked"
fi
grep -q 'libzorf.so' "$prefix/err" || fail "the client library isn't named: $(cat "$prefix/err")"
[ "$(wc -l <"$prefix/err")" -eq 1 ] || fail "more than one line: $(cat "$prefix/err")"
LD_LIBRARY_PATH=$lib/zorfhadoop-standin "$tool" status "$prefix/log" >"$prefix/out"
grep -q "$prefix/log" "$prefix/out" || fail "status: $(cat "$prefix/out")"
