#!/usr/bin/env bash
# run.sh kills [TIMES]    NameNode and DataNode, killed TIMES times (200) under writers: what is left of what
#                         these were told is safe
# run.sh recovery         restarts, a full file system, a quota: what a client comes through, and is told
#
# With Apache's client. Called as ./dev datanode kills, and recovery.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
tree=$(cd "$here/../../.." && pwd)
# shellcheck source=../../../tests/surroundings.sh
. "$tree/tests/surroundings.sh"
if [[ $1 == recovery ]]; then
  own_mounts "$@" || skip "this needs root, and mounts of its own, for a small file system"
fi
scratch=$(mktemp -d)
trap 'cd /; umount "$scratch/root" 2>/dev/null || true; rm -rf "$scratch"' EXIT
cd "$scratch"
chmod 755 .
mkdir root
if [[ $1 == recovery ]]; then
  mount -t tmpfs -o size=64m tmpfs root
  cc -shared -fPIC -o quota.so "$here/quota.c" -ldl
  preload=$scratch/quota.so
fi
chmod 777 root
(umask 077 && echo "1 $(od -An -N32 -tx1 /dev/urandom | tr -d ' \n')" >keys)
# A user of the host who isn't this one, where that can be.
user=nobody
((EUID == 0)) || user=$(id -un)
classpath=$tree/namenode/conf:$(<"$tree/build/namenode/classpath")
mkdir classes
javac --release 17 -d classes -cp "$classpath" "$here"/*.java
class=${1^}
shift
status=0
LD_PRELOAD=${preload:-} java -cp "classes:$classpath" -Duser=$user -Ddatanode="$tree/build/bin/zorf-datanode" \
  -Dnamenode="$tree/namenode/dev" "$class" "$@" 2>client.log || status=$?
if ((status)); then
  grep -v '^[[:space:]]at ' client.log | tail -n 30 >&2
  tail -n 30 ./*node*.log >&2
fi
exit $status
