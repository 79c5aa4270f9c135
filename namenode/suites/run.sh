#!/usr/bin/env bash
# run.sh [--client VERSION] [--record] [SUITE]...: runs Hadoop's own compiled tests against the service and
# holds what comes of each case against cases.tsv. With another version's client the service has a process
# of its own. From Java 24 on, cases-java-24.tsv has what comes out otherwise there. Called by ./dev namenode,
# whose jars are there then.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
root=$(dirname "$(dirname "$here")")
out=$root/build/namenode/suites
# shellcheck source=tests/surroundings.sh
. "$root/tests/surroundings.sh"
own_mounts "$@" || { "$here/users.sh" true; exit 2; } # it has said why

suites=(
  cli.TestHDFSCLI cli.TestAclCLI cli.TestAclCLIWithPosixAclInheritance cli.TestXAttrCLI cli.TestDeleteCLI
  hdfs.server.namenode.{TestNameNodeAcl,TestFileContextAcl,TestNameNodeXAttr,TestFileContextXAttr}
  hdfs.TestExtendedAcls
  fs.contract.hdfs.TestHDFSContract{Append,BulkDelete,Concat,Create,Delete,GetFileStatus,LeaseRecovery}
  fs.contract.hdfs.TestHDFSContract{Mkdir,MultipartUploader,Open,PathHandle,Rename,RootDirectory,SafeMode}
  fs.contract.hdfs.TestHDFSContract{Seek,SetTimes,Unbuffer,VectoredRead}
  hdfs.TestHDFSFileSystemContract
  fs.permission.TestStickyBit
  security.Test{Permission,PermissionSymlinks} hdfs.Test{DFSPermission,FsShellPermission}
  hdfs.server.namenode.TestGetContentSummaryWithPermission
  fs.TestGlobPaths
  fs.Test{HDFSFileContextMainOperations,FcHdfsCreateMkdir,FcHdfsPermission,FcHdfsSetUMask}
  fs.TestSymlinkHdfs{FileContext,FileSystem}
  hdfs.TestDFSShell{,GenericOptions,Touch} hdfs.Test{HDFSTrash,DFSMkdirs,ListFilesInDFS,ListFilesInFileContext}
)

client=
if [[ ${1:-} == --client ]]; then
  client=$2
  shift 2
  out+=-$client
  suites=(cli.Test{HDFSCLI,AclCLI,AclCLIWithPosixAclInheritance,XAttrCLI})
fi
record=()
[[ ${1:-} != --record ]] || { record=(--record); shift; }
(($#)) || set -- "${suites[@]}"

scratch=$(scratch_folder) || skip "no folder for scratch files takes ACLs and attributes"
scratch=$(mktemp -d "$scratch/zorf-suites-XXXXXX")
own_tmp=
trap 'cd /; [[ -z $own_tmp ]] || umount -l /tmp "$scratch/tmp"; rm -rf "$scratch"' EXIT
chmod 755 "$scratch"
mkdir "$scratch/tmp"

home=${JAVA_HOME:-$(dirname "$(dirname "$(realpath "$(command -v java)")")")}
version=$(sed -n 's/^JAVA_VERSION="\([0-9]*\).*/\1/p' "$home/release")
if ((version >= 24)) && [[ $client == 3.[0-3].* || $client == 3.4.[0-2] ]]; then
  skip "Hadoop $client needs Java 17, and $home is Java $version: set JAVA_HOME"
fi
library=-Dzorf.library=$root/build/lib/libzorfhadoop.so.2.7
flags=(-Xmx1g -XX:+UseSerialGC -XX:TieredStopAtLevel=1 -Dzorf.suites.scratch="$scratch/served"
  -Dzorf.suites.datanode="$root/build/bin/zorf-datanode"
  -Dtest.cache.data="$out/resources" -Dtest.build.data="$scratch/data" -Dnet.bytebuddy.experimental=true
  --add-opens java.base/java.lang=ALL-UNNAMED)
quiet=() exceptions=()
if ((version >= 24)); then
  quiet=(--enable-native-access=ALL-UNNAMED --sun-misc-unsafe-memory-access=allow)
  exceptions=("$here/cases-java-24.tsv")
fi
hadoop=$out/resources:$(<"$out/classpath")
if [[ -z $client ]]; then
  flags+=("$library")
  classpath=$out/classes:$root/build/namenode/classes:$hadoop:$root/build/java/zorfhadoop.jar
else
  classpath=$out/classes:$hadoop
  service=("$home/bin/java" -Xmx512m "${quiet[@]}" "$library"
    -cp "$root/build/namenode/classes:$(<"$root/build/namenode/classpath")" zorf.namenode.Main)
  printf '#!/bin/bash\nexec%s "$@"\n' "$(printf ' %q' "${service[@]}")" >"$scratch/service"
  chmod 755 "$scratch/service"
  flags+=(-Dzorf.suites.service="$scratch/service")
fi

# One of them wants port 8020, which somebody may have here.
network=()
if command -v ip >/dev/null && unshare --net true 2>/dev/null; then
  network=(unshare --net sh -c 'ip link set lo up && exec "$@"' sh)
fi

# Suites leave files where they run, and one takes /tmp/file1 for its own.
own_tmp "$scratch/tmp" "$scratch" "$root" "$home" "$HOME"
own_tmp=yes
cd "$scratch"
status=0
: >"$out/run.log"
for suite; do
  # Each in a virtual machine of its own, as Hadoop's build runs them: they change who is logged in and more.
  "$here/users.sh" "${network[@]}" "$home/bin/java" "${flags[@]}" "${quiet[@]}" -cp "$classpath" zorf.namenode.Suites \
    "${record[@]}" "$here/cases.tsv" "org.apache.hadoop.$suite" "${exceptions[@]}" 2>>"$out/run.log" || status=1
done
exit "$status"
