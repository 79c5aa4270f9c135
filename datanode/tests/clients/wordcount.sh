#!/usr/bin/env bash
# wordcount.sh PROGRAM: a MapReduce job counts the words of a few files on 24 DataNodes, one for each location.
# Its result is right, and its tasks prefer the hosts that the library names. Its jars are fetched by Maven;
# where that can't be done one line says so, and the exit status is 2.
set -euo pipefail
program=$(realpath "$1")
tree=$(cd "$(dirname "${BASH_SOURCE[0]}")/../../.." && pwd)
# shellcheck source=datanode/tests/clients/services.sh
. "$tree/datanode/tests/clients/services.sh"
here=$tree/datanode/tests/clients

mvn -B -ntp -q -f "$here/pom.xml" dependency:build-classpath -Dmdep.outputFile="$scratch/jars" >maven.log 2>&1 || {
  echo "wordcount: Maven can't resolve its jars: $(grep -m1 ERROR maven.log || tail -1 maven.log)" >&2
  exit 2
}
mkdir classes
javac --release 17 -d classes -cp "$(<jars)" "$here/src/zorf/datanode/WordCount.java"

for rack in 1 2 3 4; do
  for node in 1 2 3 4 5 6; do
    datanode "$rack$node" --bind "127.0.$rack.$node" --port 0
    echo "$rack$node $(told "$rack$node.log" 'listens at ') /rack$rack" >>topology
  done
done
namenode --port 0 --policy rackaware-sort
address=$(told namenode.log hdfs://)

# A few files of three blocks each, the last of them short.
for file in a b c; do
  awk -v "seed=$file" 'BEGIN {
    srand(index("abc", seed))
    for (i = 0; i < 300000; ++i) printf "%s%s", substr("lorem ipsum dolor", 1 + rand() * 8, 1 + rand() * 8), i % 9 ? " " : "\n"
  }' >part
  cat part part part part part part >$file
done
hdfs -mkdir /in
hdfs -D dfs.blocksize=4194304 -put a b c /in
java -cp "classes:$(<jars)" zorf.datanode.WordCount "hdfs://$address" /in /out >splits 2>job.log || {
  cat job.log namenode.log >&2
  exit 1
}

awk '{ for (i = 1; i <= NF; ++i) ++n[$i] } END { for (word in n) print word "\t" n[word] }' a b c | sort >wanted
hdfs -cat '/out/part-r-*' | sort >counted
cmp wanted counted
[[ -e root/out/_SUCCESS && -s root/out/part-r-00000 && -s root/out/part-r-00001 ]]

for file in a b c; do
  "$tree/build/bin/zorfhadoop" locate --json --policy rackaware-sort root/in/$file |
    grep -o '"offset": [0-9]*, "locations": \[[^]]*' |
    sed -E "s/[^0-9 ]//g; s/ +/ /g; s/ ([1-4])([1-6])\b/ 127.0.\1.\2/g; s/^ /$file /"
done >named
cmp <(sort named) <(sort splits) || { diff named splits >&2 || exit 1; }
(($(wc -l <named) == 9)) || { cat named >&2 && exit 1; }
echo "MapReduce counted $(awk '{ n += $2 } END { print n }' counted) words, $(wc -l <counted) of them different, in 9 splits:"
cat splits
