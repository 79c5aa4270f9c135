#!/usr/bin/env bash
# demo.sh BUILD SCRIPT JAVA...: serves a sample tree to Apache's client, with users of its own (see users.sh),
# and shows what each command of SCRIPT prints. BUILD is the NameNode's build directory; JAVA the command that
# runs Java, class path included. The network is its own, too: all hosts in it are this one.
set -euo pipefail
[[ -n ${ZORF_DEMO_NETWORK:-} ]] || ZORF_DEMO_NETWORK=1 exec unshare --net "$0" "$@"
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
build=$1
script=$2
shift 2
java=("$@")

make_samples() {
  mkdir -p /mnt/data/secret/2026/november /mnt/home/alice /mnt/home/bob /mnt/tmp
  echo 'What the clients see is what is here.' >/mnt/data/readme.txt
  truncate -s 40G /mnt/data/events.dat
  truncate -s 1G /mnt/data/table.dat
  chmod 700 /mnt/data/secret
  chmod 1777 /mnt/tmp
  chown alice:alice /mnt/home/alice
  chmod 700 /mnt/home/alice
  chown bob:bob /mnt/home/bob
  chgrp analysts /mnt/data/*.dat
  chmod 640 /mnt/data/*.dat
}

make_samples
ip link set lo up
for rack in 1 2 3 4; do
  for i in 1 2 3 4 5 6; do
    ip address add "192.0.2.$rack$i/32" dev lo
    echo "$rack$i 192.0.2.$rack$i /rack$rack"
  done
done >"$build/topology"
(umask 077 && echo "1 $(od -An -N32 -tx1 /dev/urandom | tr -d ' \n')" >"$build/keys")
mkdir -p "$build/conf"
sed "s,audit=OFF,audit=INFO\, audit,; \$a\\
log4j.additivity.org.apache.hadoop.hdfs.server.namenode.FSNamesystem.audit=false\\
log4j.appender.audit=org.apache.log4j.FileAppender\\
log4j.appender.audit.file=$build/audit.log\\
log4j.appender.audit.append=false\\
log4j.appender.audit.layout=org.apache.log4j.PatternLayout\\
log4j.appender.audit.layout.ConversionPattern=%m%n" \
  "$here/../src/main/resources/log4j.properties" >"$build/conf/log4j.properties"

services=()
trap 'kill "${services[@]}" 2>/dev/null; wait || true; rm -f "$build/numbers.txt"' EXIT
"$here/../../build/bin/zorf-datanode" --root /mnt --key "$build/keys" --bind 0.0.0.0 2>"$build/datanode.log" &
services+=($!)
: >"$build/service.log" # an earlier demo's says nothing of this one
"${java[@]}" "-Dlog4j.configuration=file:$build/conf/log4j.properties" zorf.namenode.Main --root /mnt \
  --port 0 --http-port 0 --key "$build/keys" --topology "$build/topology" >>"$build/service.log" 2>&1 &
services+=($!)
for ((i = 0; i < 300; i++)); do
  grep -q '^  metrics ' "$build/service.log" && break
  kill -0 $! 2>/dev/null || { cat "$build/service.log" >&2 && exit 1; }
  sleep 0.1
done
printf '# The services\n%s\n%s\n\n' "$(<"$build/service.log")" "$(sed 's/^[^ ]* INFO //' "$build/datanode.log")"
address=$(grep -o 'hdfs://[^ ]*' "$build/service.log")
pages=$(grep -o 'http://[0-9.:]*' "$build/service.log")
cd "$build"
"${java[@]}" "$here/Demo.java" "$address" "$pages" "$script"
