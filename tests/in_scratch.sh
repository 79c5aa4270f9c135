#!/bin/sh
# in_scratch.sh COMMAND...: runs a command with a TMPDIR whose files take ACLs and attributes, which Java
# is told of too. Skipped where there is none.
set -eu
. "$(dirname "$0")/surroundings.sh"

TMPDIR=$(scratch_folder) || skip "no folder for scratch files takes ACLs and attributes"
export TMPDIR
case $1 in
  */java)
    java=$1
    shift
    set -- "$java" "-Djava.io.tmpdir=$TMPDIR" "$@"
    ;;
esac
exec "$@"
