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
# The tree may lie below a directory that only root may enter, such as /root: then an empty one takes
# its place in this mount namespace, with nothing but the tree in it.
blocked=
above=$(dirname "$tree")
while [ "$above" != / ]; do
  case $(stat -c %A "$above") in
    *[xt]) ;;
    *) blocked=$above ;;
  esac
  above=$(dirname "$above")
done
if [ -n "$blocked" ]; then
  hold=$(mktemp -d)
  mount --bind "$tree" "$hold"
  mount -t tmpfs -o mode=755 tmpfs "$blocked"
  mkdir -p "$tree"
  mount --bind "$hold" "$tree"
  umount "$hold"
  rmdir "$hold"
  cd "$tree"
fi
as_nobody="setpriv --reuid=65534 --regid=65534 --clear-groups"
if ! $as_nobody test -r "$tree/dev"; then
  echo "nobody may not read $tree" >&2
  exit 77
fi
exec $as_nobody "$@"
