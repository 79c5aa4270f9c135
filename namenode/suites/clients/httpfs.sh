#!/usr/bin/env bash
# HttpFS, Hadoop's own gateway from HTTP to HDFS, in front of the service, asked by Apache's client through
# webhdfs://. It acts for its callers: the service lets it by hadoop.proxyuser.*.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
client="HttpFS"
. ./same.sh
# shellcheck source=start.sh
. ./start.sh
trap end_started EXIT

version=$(sed -n 's/^JAVA_VERSION="\([0-9]*\).*/\1/p' "$home/release")
if ((version >= 24)); then
  echo "$client: not asked: its jars are of Hadoop 3.4.1, which needs Java 17, and $home is Java $version"
  exit 0
fi

gateway=$work/httpfs
mkdir -p "$gateway"/{conf,log,temp}
# site FILE NAME VALUE...
site() {
  local file=$gateway/conf/$1
  shift
  echo '<configuration>' >"$file"
  printf '<property><name>%s</name><value>%s</value></property>\n' "$@" >>"$file"
  echo '</configuration>' >>"$file"
}
site core-site.xml fs.defaultFS "hdfs://127.0.0.1:$port"
site httpfs-site.xml httpfs.http.port 0 httpfs.http.hostname 127.0.0.1
cat >"$gateway/conf/log4j.properties" <<'LOG'
log4j.rootLogger=INFO, console
log4j.appender.console=org.apache.log4j.ConsoleAppender
log4j.appender.console.layout=org.apache.log4j.PatternLayout
log4j.appender.console.layout.ConversionPattern=%p %c{1}: %m%n
LOG
cp "$gateway/conf/log4j.properties" "$gateway/conf/httpfs-log4j.properties"
start '.*Jetty bound to port ([0-9]+)$' "$gateway/log/httpfs.log" \
  "$home/bin/java" -Xmx256m --add-opens java.base/java.lang=ALL-UNNAMED -Dhttpfs.home.dir="$gateway" \
  -cp "$gateway/conf:$(<"$tree/build/namenode/httpfs/classpath")" \
  org.apache.hadoop.fs.http.server.HttpFSServerWebServer

as() {
  HADOOP_USER_NAME=$1 "$home/bin/java" -XX:TieredStopAtLevel=1 -XX:+UseSerialGC \
    -cp "$tree/namenode/conf:$tree/build/namenode/classes:$(<"$tree/build/namenode/classpath")" \
    org.apache.hadoop.fs.FsShell -fs "webhdfs://127.0.0.1:$port" "${@:2}" 2>&1
}

as root -mkdir -p /home/user1/deep
as root -chown user1:group1 /home/user1
as root -chmod 750 /home/user1
is /home/user1 "directory 750 user1 group1 $(stat -c %s "$root/home/user1")"
same "ls" "$(ls "$root/home")" "$(as root -ls -C /home | xargs -n1 basename)"
as user1 -touchz /home/user1/empty
is /home/user1/empty "regular empty file 644 user1 group1 0"

head -c 3000000 /dev/urandom >"$work/written"
as user1 -put "$work/written" /home/user1/data
is /home/user1/data "regular file 644 user1 group1 3000000"
same "written data" "$(sha256sum <"$work/written")" "$(sha256sum <"$root/home/user1/data")"
same "read data" "$(sha256sum <"$work/written")" "$(as user1 -cat /home/user1/data | sha256sum)"
echo more >"$work/more"
as user1 -appendToFile "$work/more" /home/user1/data
same "appended data" "$(cat "$work/written" "$work/more" | sha256sum)" "$(sha256sum <"$root/home/user1/data")"
same "stat" "$(stat -c '%s %U %G %a %Y' "$root/home/user1/data")" \
  "$(as user1 -stat '%b %u %g %a %Y' /home/user1/data | sed 's/...$//')"
same "count" "2 2 3000005" "$(as user1 -count /home/user1 | awk '{ print $1, $2, $3 }')"

as user1 -mv /home/user1/data /home/user1/moved
is /home/user1/data missing
as user1 -chmod 600 /home/user1/moved
is /home/user1/moved "regular file 600 user1 group1 3000005"
refusal='Permission denied: user=user3, access=READ, inode="/home/user1/moved":user1:group1:-rw-------'
as root -chmod 755 /home/user1
same "a refused read" "cat: $refusal" "$(as user3 -cat /home/user1/moved | grep -v WARN || true)"
as user1 -setfacl -m user:user3:r-- /home/user1/moved
same "an ACL" "$(getfacl -cp "$root/home/user1/moved" | cut -f1)" \
  "$(as user1 -getfacl /home/user1/moved | grep -v '^#')"
same "a read that the ACL allows" "$(sha256sum <"$root/home/user1/moved")" \
  "$(as user3 -cat /home/user1/moved | sha256sum)"
as user1 -setfattr -n user.color -v blue /home/user1/moved
same "an attribute" 'user.color="blue"' \
  "$(getfattr -dm '^user[.]color' --absolute-names "$root/home/user1/moved" | sed -n 2p)"
same "a told attribute" 'user.color="blue"' "$(as user1 -getfattr -n user.color /home/user1/moved | sed -n 2p)"
as user1 -truncate 1000 /home/user1/moved >/dev/null
is /home/user1/moved "regular file 640 user1 group1 1000"
same "a refused change" \
  'mkdir: Permission denied: user=user3, access=WRITE, inode="/home":root:supergroup:drwxr-xr-x' \
  "$(as user3 -mkdir /home/user3 || true)"
same "a missing file" "ls: \`/none': No such file or directory" "$(as user3 -ls /none || true)"
as user1 -rm -skipTrash /home/user1/moved >/dev/null
is /home/user1/moved missing
as root -rm -r -skipTrash /home >/dev/null
is /home missing
told
