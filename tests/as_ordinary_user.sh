#!/bin/sh
# as_ordinary_user.sh COMMAND...: run by root, runs a command as the user nobody; run by anybody else,
# runs it as it is. Exits with 77 where nobody may not read this tree.
set -eu

[ "$(id -u)" = 0 ] || exec "$@"
if [ -z "${ZORF_OWN_MOUNTS:-}" ]; then
  ZORF_OWN_MOUNTS=1 exec unshare --mount --propagation private "$0" "$@"
fi
unset ZORF_OWN_MOUNTS

tree=$(cd "$(dirname "$0")/.." && pwd)
. "$tree/tests/reachable_tree.sh"
reach_tree "$tree"
as_nobody="setpriv --reuid=65534 --regid=65534 --clear-groups"
if ! $as_nobody test -r "$tree/dev"; then
  echo "nobody may not read $tree" >&2
  exit 77
fi
exec $as_nobody "$@"
