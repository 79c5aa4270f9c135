#!/usr/bin/env bash
# two_hosts.sh PROGRAM: a DataNode on each of two hosts, which are network namespaces. Apache's client reads
# and writes through that of its own host, and reads on from the other when that one is killed midway.
set -euo pipefail
program=$(realpath "$1")
tree=$(cd "$(dirname "${BASH_SOURCE[0]}")/../../.." && pwd)
# shellcheck source=tests/surroundings.sh
. "$tree/tests/surroundings.sh"

# The near host is where this runs from here on.
if [[ -z ${ZORF_OWN_NETWORK:-} ]]; then
  command -v ip >/dev/null || skip "the command ip is missing, for two hosts; it is in the package iproute2"
  unshare --net ip link add near type veth peer name far 2>/dev/null ||
    skip "two hosts need root, and networks of their own"
  ZORF_OWN_NETWORK=1 exec unshare --net "$0" "$@"
fi
# shellcheck source=datanode/tests/clients/services.sh
. "$tree/datanode/tests/clients/services.sh"

start network.log unshare --net sh -c 'readlink /proc/self/ns/net && exec sleep infinity'
told network.log net: >/dev/null
far=(nsenter --target "${processes[0]}" --net)
on_far() {
  local in_network=("${far[@]}")
  "$@"
}
ip link add near type veth peer name far netns "${processes[0]}"
ip link set lo up && ip address add 10.0.0.1/24 dev near && ip link set near up
"${far[@]}" sh -c 'ip link set lo up && ip address add 10.0.0.2/24 dev far && ip link set far up'

datanode near --bind 10.0.0.1 --metrics 10.0.0.1:9865
near=${processes[-1]}
disown "$near" # the shell need not say that it was killed
on_far datanode far --bind 10.0.0.2 --metrics 10.0.0.2:9865
told near.log 'listens at ' >/dev/null
told far.log 'listens at ' >/dev/null
# A location in each of two racks: the two replicas of a block are in both.
printf 'rack 1: 1\nrack 2: 2\n' >placement
export ZORF_TOPOLOGY=$scratch/placement
printf '1 10.0.0.1 /near\n2 10.0.0.2 /far\n' >topology
namenode --bind 10.0.0.1 --policy rackaware

# moved HOST: how many bytes its DataNode has read and written so far.
moved() {
  exec 3<>"/dev/tcp/$1/9865"
  printf 'GET /metrics HTTP/1.1\r\n\r\n' >&3
  sed -n 's/^zorf_datanode_\(read\|written\)_bytes_total //p' <&3 | paste -sd' '
  exec 3>&-
}
# expect WHAT FOUND WANTED
expect() {
  [[ $2 == "$3" ]] || { echo "$1: $2, and not $3" >&2 && exit 1; }
}

size=300000000
head -c $size /dev/urandom >file
hdfs -put file /file
expect 'written near and far' "$(moved 10.0.0.1), $(moved 10.0.0.2)" "0 $size, 0 0"
cmp file root/file
hdfs -cat /file | cmp - file
expect 'read near and far' "$(moved 10.0.0.1), $(moved 10.0.0.2)" "$size $size, 0 0"
on_far hdfs -cat /file | cmp - file
expect 'read on the other host' "$(moved 10.0.0.1), $(moved 10.0.0.2)" "$size $size, $size 0"
echo "a client reads and writes at its own host, and another one at the other"

hdfs -cat /file 2>client.log | {
  head -c 50000000 >got
  moved 10.0.0.2 >before
  kill -KILL "$near"
  cat >>got
} || { cat client.log >&2 && exit 1; }
cmp file got
grep -q 'Failed to connect to /10.0.0.1:9866 for file /file' client.log
expect 'read far before the kill' "$(<before)" "$size 0"
read -r bytes _ <<<"$(moved 10.0.0.2)"
# What was under way may be some MB.
((bytes >= 2 * size - 80000000 && bytes < 2 * size - 50000000 + 65536)) ||
  { echo "read far after the kill: $((bytes - size)) of $size bytes" >&2 && exit 1; }
echo "killed after 50,000,000 of $size bytes: the other DataNode gave $((bytes - size)), and all are the same"
