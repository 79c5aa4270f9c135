#!/usr/bin/env bash
# run.sh PROGRAM: Apache's client puts, appends, reads and compares files through the service. Its jars are
# fetched by Maven; where that can't be done one line says so, and the exit status is 2.
set -euo pipefail
program=$(realpath "$1")
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
scratch=$(mktemp -d)
service=
trap '[[ -z $service ]] || kill "$service" 2>/dev/null; rm -rf "$scratch"' EXIT
cd "$scratch"
chmod 755 .

mvn -B -ntp -q -f "$here/pom.xml" dependency:build-classpath -Dmdep.outputFile="$scratch/jars" >maven.log 2>&1 || {
  echo "clients: Maven can't resolve its jars: $(grep -m1 ERROR maven.log || tail -1 maven.log)" >&2
  exit 2
}
mkdir classes
javac --release 17 -d classes -cp "$(<jars)" "$here"/src/zorf/datanode/*.java

# A user of the host who isn't this one, where that can be.
user=nobody
((EUID == 0)) || user=$(id -un)
mkdir -m 777 root
(umask 077 && echo "1 $(od -An -N32 -tx1 /dev/urandom | tr -d ' \n')" >keys)
"$program" --root root --key keys --port 0 2>log &
service=$!
until address=$(sed -n 's/.*listens at //p' log) && [[ -n $address ]]; do
  kill -0 $service || { cat log >&2 && exit 1; }
  sleep 0.05
done
client() {
  java -cp "classes:$(<jars)" zorf.datanode.Client root keys $user "$address" 8388608 "$@" 2>client.log || {
    cat client.log log >&2
    exit 1
  }
}

head -c 20000001 /dev/urandom >large
head -c 777 /dev/urandom >small
cat large small small >whole
client put large /file append small /file append small /file get /file got getUnverified /file plain checksum /file |
  tee md5
cmp whole root/file
cmp whole got
cmp whole plain
grep -q '^MD5-of-16384MD5-of-512CRC32C:' md5
[[ $(stat -c %U root/file) == "$user" ]]
# What the CRCs of all blocks are combined to is the CRC of the whole.
client dfs.checksum.combine.mode=COMPOSITE_CRC checksum /file crc whole | tee crc
[[ $(uniq crc | wc -l) == 1 ]]
! grep -v INFO log
echo "Apache's client wrote, appended, read and compared files as $user"
