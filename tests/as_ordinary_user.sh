#!/bin/sh
# as_ordinary_user.sh COMMAND...: run by root, runs a command as the user nobody; run by anybody else,
# runs it as it is. Skipped where root may not become nobody, or nobody not read this tree.
set -eu
tree=$(cd "$(dirname "$0")/.." && pwd)
. "$tree/tests/surroundings.sh"

[ "$(id -u)" = 0 ] || exec "$@"
as_nobody="setpriv --reuid=65534 --regid=65534 --clear-groups"
$as_nobody true 2>/dev/null || skip "may not switch users"
if ! $as_nobody test -r "$tree/dev"; then
  own_mounts "$@" || skip "may not mount: nobody can't reach $tree"
  reach_tree "$tree"
  $as_nobody test -r "$tree/dev" || skip "nobody may not read $tree"
fi
# Scratch files don't go into a folder of root's own.
$as_nobody test -w "${TMPDIR:-/tmp}" || unset TMPDIR
exec $as_nobody "$@"
