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
. "$here/start.sh"
end() {
  end_started
  rm -rf "$scratch"
}
trap end EXIT
chmod 755 "$scratch"
export root=$scratch/root work=$scratch/work
mkdir -m 755 "$root" "$work"
chgrp supergroup "$root"

install -m 600 /dev/null "$scratch/key"
echo "1 $(od -An -tx1 -N32 /dev/urandom | tr -d ' \n')" >"$scratch/key"
start '.*listens at .*:([0-9]+)$' "$scratch/datanode.log" \
  "$tree/build/bin/zorf-datanode" --root "$root" --key "$scratch/key" --port 0
echo "1 127.0.0.1:$port /rack1" >"$scratch/topology"
cat >"$scratch/proxies.xml" <<'XML'
<configuration>
<property><name>hadoop.proxyuser.root.hosts</name><value>127.0.0.1</value></property>
<property><name>hadoop.proxyuser.root.groups</name><value>*</value></property>
</configuration>
XML
export home=${JAVA_HOME:-$(dirname "$(dirname "$(realpath "$(command -v java)")")")}
start '^zorf-namenode: hdfs:..[^:]*:([0-9]+) serves.*' "$scratch/namenode.log" \
  "$home/bin/java" -Dzorf.library="$tree/build/lib/libzorfhadoop.so.2.7" \
  -cp "$tree/build/namenode/classes:$(<"$tree/build/namenode/classpath")" zorf.namenode.Main \
  --root "$root" --port 0 --http-port off --config "$scratch/proxies.xml" \
  --policy shared --key "$scratch/key" --topology "$scratch/topology"
export port

status=0
for client; do
  "$here/$client" || status=1
done
exit "$status"
