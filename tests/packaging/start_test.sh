#!/bin/sh
# start_test.sh BUILD JDK...: the archive of classes that makes the tool quick to start is used where it fits, and
# passed over in silence where it doesn't: of another Java, of other jars, damaged.
set -eu
build=$1
shift
scratch=$(mktemp -d "$build/start-XXXXXX")
trap 'rm -rf "$scratch"' EXIT
mkdir -p "$scratch/tree/bin" "$scratch/tree/java" "$scratch/tree/lib"
cp "$build/bin/zorfhadoop" "$scratch/tree/bin"
cp "$build/java/zorfhadoop.jar" "$build/java/zorfhadoop-tool.jar" "$scratch/tree/java"
cp "$build/lib/libzorfhadoop.so.2.7" "$build/lib/libzorf.so" "$scratch/tree/lib"
archive=$scratch/tree/lib/zorfhadoop/tool.jsa
cd "$scratch"
echo text >file

fail() {
  echo "start_test: $*" >&2
  exit 1
}

# shows HOME: the status is shown whole and nothing else is said; how many classes came from the archive
# is left in $shared.
shows() {
  JAVA_HOME=$1 ZORFHADOOP_OPTS=-Xlog:class+load:file=classes tree/bin/zorfhadoop status file >out 2>err ||
    fail "status fails on $1: $(cat out err)"
  [ ! -s err ] || fail "on $1: $(cat err)"
  sed 's/^accessed .*//' out >shown
  [ -e expected ] || cp shown expected
  diff expected shown || fail "another output on $1"
  shared=$(grep -c 'zorf\.tool\..*shared objects file (top)' classes || true)
}

# Older Java knows neither the archive nor the option that silences it.
mkdir -p old/bin tree/lib/zorfhadoop
echo 'JAVA_VERSION="1.8.0_402"' >old/release
printf '#!/bin/sh\nprintf "%%s\\n" "$@"\n' >old/bin/java
chmod +x old/bin/java
: >"$archive"
JAVA_HOME=$scratch/old tree/bin/zorfhadoop status file >out
grep -qx 'zorf.tool.Main' out || fail "Java 8 isn't started: $(cat out)"
! grep 'Xlog\|SharedArchive\|native-access' out || fail "options that Java 8 doesn't know"
JAVA_HOME=$scratch/old tree/bin/zorfhadoop --write-archive >out
[ ! -s out ] || fail "Java 8 is to write an archive: $(cat out)"

for home; do
  major=$(sed -n 's/^JAVA_VERSION="\([0-9]*\).*/\1/p' "$home/release")
  [ "$major" -ge 13 ] || continue
  rm -rf tree/lib/zorfhadoop
  shows "$home"
  [ "$shared" = 0 ] || fail "classes from nowhere"

  JAVA_HOME=$home tree/bin/zorfhadoop --write-archive >out 2>&1 || fail "no archive: $(cat out)"
  [ ! -s out ] || fail "the archive is written with words: $(cat out)"
  [ "$(ls tree/lib/zorfhadoop)" = tool.jsa ] || fail "left over: $(ls tree/lib/zorfhadoop)"
  for other; do
    shows "$other"
    if [ "$other" = "$home" ]; then
      [ "$shared" -gt 10 ] || fail "$home doesn't use its archive"
    else
      [ "$shared" = 0 ] || fail "$other uses the archive of $home"
    fi
  done

  # The environment names no other.
  mv "$archive" elsewhere
  JAVA_HOME=$home archive=$scratch/elsewhere options=-XX:SharedArchiveFile=$scratch/elsewhere shows "$home"
  [ "$shared" = 0 ] || fail "an archive is taken from the environment"
  mv elsewhere "$archive"

  # What was written over an archive by a failing disk, or another installation's jars.
  cp -p tree/java/zorfhadoop-tool.jar kept.jar
  touch -d 2001-01-01 tree/java/zorfhadoop-tool.jar
  shows "$home"
  [ "$shared" = 0 ] || fail "classes of another jar"
  cp -p kept.jar tree/java/zorfhadoop-tool.jar
  shows "$home"
  [ "$shared" -gt 10 ] || fail "the archive of this jar isn't used"
  rm "$archive"
  : >"$archive"
  shows "$home"
  echo "no archive" >"$archive"
  shows "$home"
  JAVA_HOME=$home tree/bin/zorfhadoop --write-archive
  shows "$home"
  [ "$shared" -gt 10 ] || fail "a damaged archive isn't replaced"
done
