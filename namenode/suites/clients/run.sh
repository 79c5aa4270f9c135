#!/usr/bin/env bash
# run.sh CLIENT...: has other people's clients talk to the service on a scratch tree, as users of it, and
# holds every answer against what the file system itself says. Called by ./dev namenode, whose jars are
# there then.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
tree=$(cd "$here/../../.." && pwd)
export tree
# shellcheck source=tests/surroundings.sh
. "$tree/tests/surroundings.sh"
[[ -n ${ZORF_SUITE_USERS:-} ]] || exec "$here/../users.sh" "${BASH_SOURCE[0]}" "$@"

scratch=$(scratch_folder) || skip "no folder for scratch files takes ACLs and attributes"
scratch=$(mktemp -d "$scratch/zorf-clients-XXXXXX")
started=()
end() {
  ((${#started[@]} == 0)) || kill "${started[@]}" 2>/dev/null || true
  wait
  rm -rf "$scratch"
}
trap end EXIT
chmod 755 "$scratch"
export root=$scratch/root work=$scratch/work
mkdir -m 755 "$root" "$work"
chgrp supergroup "$root"

# start PATTERN LOG COMMAND...: starts a service and waits for the port in its log.
start() {
  local pattern=$1 log=$scratch/$2 found=
  shift 2
  : >"$log"
  "$@" >"$log" 2>&1 &
  started+=($!)
  for _ in $(seq 600); do
    found=$(sed -nE "s/$pattern/\1/p;T;q" "$log")
    [[ -z $found ]] || break
    kill -0 $! 2>/dev/null || break
    sleep 0.1
  done
  [[ -n $found ]] || {
    cat "$log" >&2
    exit 1
  }
  port=$found
}

install -m 600 /dev/null "$scratch/key"
echo "1 $(od -An -tx1 -N32 /dev/urandom | tr -d ' \n')" >"$scratch/key"
start '.*listens at .*:([0-9]+)$' datanode.log \
  "$tree/build/bin/zorf-datanode" --root "$root" --key "$scratch/key" --port 0
echo "1 127.0.0.1:$port /rack1" >"$scratch/topology"
home=${JAVA_HOME:-$(dirname "$(dirname "$(realpath "$(command -v java)")")")}
start '^zorf-namenode: hdfs:..[^:]*:([0-9]+) serves.*' namenode.log \
  "$home/bin/java" -Dzorf.library="$tree/build/lib/libzorfhadoop.so.2.7" \
  -cp "$tree/build/namenode/classes:$(<"$tree/build/namenode/classpath")" zorf.namenode.Main \
  --root "$root" --port 0 --policy shared --key "$scratch/key" --topology "$scratch/topology"
export port

status=0
for client; do
  "$here/$client" || status=1
done
exit "$status"
