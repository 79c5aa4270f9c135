#!/bin/sh
# run.sh [BUILD [PROGRAM]]: prints the worked examples of docs/formats.md, or with the program Api those of
# docs/java.md, with the library of a build tree.
set -eu
root=$(cd "$(dirname "$0")/../.." && pwd)
build=${1:-$root/build}
build=$(cd "$build" && pwd)
program=${2:-Formats}
java=${JAVA_HOME:+$JAVA_HOME/bin/}java
access=
# From Java 24 on loading a library needs leave.
if "$java" --enable-native-access=ALL-UNNAMED -version >/dev/null 2>&1; then
  access=--enable-native-access=ALL-UNNAMED
fi
. "$root/tests/surroundings.sh"
if [ "$program" = Api ]; then
  id -un >/dev/null 2>&1 || skip "needs a user with a name, to act as"
fi
scratch=$(scratch_folder) || skip "no folder for scratch files takes ACLs and attributes"
scratch=$(mktemp -d "$scratch/zorf-formats-XXXXXX")
trap 'rm -rf "$scratch"' EXIT
export ZORF_TOPOLOGY="$root/docs/examples/topology"
# shellcheck disable=SC2086  # an option, or none
LC_ALL=C.UTF-8 "$java" $access "-Dzorf.library=$build/lib/libzorfhadoop.so.2.7" \
  -cp "$build/java/zorfhadoop.jar:/usr/share/java/commons-logging.jar" \
  "$root/docs/examples/$program.java" "$scratch"
