#!/usr/bin/env bash
# chroot_test.sh [PACKAGES]: installs the packages of build/packages into a fresh Debian and runs the tool
# there, as jail.sh says.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
packages=${1:-$root/build/packages}

tree=
# shellcheck source=packaging/jail.sh
. "$root/packaging/jail.sh"
clean_up() {
  remove_jail
  [[ -z $tree ]] || rm -rf "$tree"
}
trap clean_up EXIT

mkdir "$jail/next"
cp "$packages"/*.deb "$packages"/*.tar.gz "$jail/packages"

# The next version, which is nothing but a number in one place.
version=$(sed -n 's/^project(zorfhadoop VERSION \([0-9.]*\) .*/\1/p' "$root/CMakeLists.txt")
this=${version%.*}
next=${this%.*}.$((${this#*.} + 1))
tree=$(mktemp -d)
tar -c --exclude=./build --exclude='./build-*' --exclude=./.git -C "$root" . | tar -x -C "$tree"
sed -i "s/^project(zorfhadoop VERSION $version /project(zorfhadoop VERSION $next.0 /" \
  "$tree/CMakeLists.txt"
"$tree/packaging/make.sh" >"$log" 2>&1 || { cat "$log"; exit 1; }
cp "$tree"/build/packages/*.deb "$jail/next"

with_standin() {
  inside env LD_LIBRARY_PATH=/usr/lib/x86_64-linux-gnu/zorfhadoop-standin "$@"
}
# install_from FOLDER NAME...: from the packages to be tested, /packages or /next.
install_from() {
  local folder=$1 name files=()
  shift
  for name in "$@"; do
    files+=("$folder/$(cd "$jail$folder" && echo "$name"_*.deb)")
  done
  inside sh -c 'apt-get install -y --no-install-recommends "$@" >>/apt.log 2>&1 || {
    tail -30 /apt.log; exit 1; }' sh "${files[@]}"
}
install() {
  install_from /packages "$@"
}
is_installed() {
  # shellcheck disable=SC2016  # dpkg's own variable
  inside dpkg-query -W -f '${db:Status-Status}\n' "$1" | grep -qx installed
}

# What apt does of itself, from the packages alone.
inside apt-get update -qq
check "library and tools install" \
  install "libzorfhadoop$this" libzorfhadoop-jni zorfhadoop-tools
check "libacl, Java and picocli come with them" \
  inside dpkg-query -W libacl1 libpicocli-java libcommons-logging-java
check "the stand-in does not" fails is_installed zorfhadoop-standin
check "without a client library the doctor says so" prints 'fail .*libzorf.so' inside zorfhadoop doctor
check "and every command fails with one line" \
  prints "^zorfhadoop: can't load the library: .*libzorf.so" inside zorfhadoop status /etc/hostname
check "one line it is" test "$(wc -l <"$jail/printed")" = 1

check "the stand-in installs" install zorfhadoop-standin
check "but isn't used unasked" prints "can't load the library" inside zorfhadoop status /etc/hostname

inside sh -c 'mkdir -m 755 /data && truncate -s 1G /data/table && ln -s table /data/link'
check "named in LD_LIBRARY_PATH it is" with_standin zorfhadoop status /data/table
check "the doctor knows it" prints 'warn  client library .*/zorfhadoop-standin/libzorf.so' \
  with_standin zorfhadoop doctor
check "a block group factor" with_standin zorfhadoop bgf --set 16 /data/table
check "a listing" with_standin zorfhadoop ls /data
check "an ACL" with_standin zorfhadoop acl modify user:nobody:r-- /data/table
check "an ACL comes back" prints 'user:nobody:r--' with_standin zorfhadoop acl get /data/table
check "a picture" with_standin zorfhadoop locate --svg /data/table.svg /data/table
check "with something in it" grep -q '<svg' "$jail/data/table.svg"
check "as another user" with_standin zorfhadoop status --as nobody /data/table
check "the manual page" inside gzip -t /usr/share/man/man1/zorfhadoop.1.gz
check "the completion" inside bash -n /usr/share/bash-completion/completions/zorfhadoop

# archived: whether the tool takes its classes from the archive.
archived() {
  with_standin env ZORFHADOOP_OPTS=-Xlog:class+load:file=/classes zorfhadoop status /data/table &&
    grep -q 'zorf\.tool\..*shared objects file (top)' "$jail/classes"
}
archive=$jail/usr/lib/zorfhadoop/tool.jsa
check "the classes of the tool are kept for a quick start" archived
check "where only root may write" test "$(stat -c '%U %A' "$archive" "${archive%/*}")" = \
  'root -r--r--r--
root drwxr-xr-x'
rm "$archive"
check "another Java renews them" inside sh -c \
  'apt-get install -y --reinstall openjdk-17-jre-headless && test -e /usr/lib/zorfhadoop/tool.jsa'
check "and they are used" archived

jars=/usr/share/java
check "Debian's Java finds the library by its name" with_standin java \
  -cp $jars/zorfhadoop/zorfhadoop-tool.jar:$jars/zorfhadoop/zorfhadoop.jar:$jars/picocli.jar:$jars/commons-logging.jar \
  zorf.tool.Main status /data/table

# A client library of the host's own: here it is played by a copy of the stand-in.
inside sh -c 'mkdir -p /opt/zorf/lib && cp /usr/lib/x86_64-linux-gnu/zorfhadoop-standin/libzorf.so /opt/zorf/lib &&
  echo /opt/zorf/lib >/etc/ld.so.conf.d/zorf.conf && ldconfig'
check "the host's client library is found" inside zorfhadoop status /data/table
check "and taken, with the stand-in's package there" \
  prints 'client library .*/opt/zorf/lib/libzorf.so' inside zorfhadoop doctor

check "the archive unpacks" inside sh -c 'tar -xzf /packages/*.tar.gz -C /opt'
check "its tool takes its own library" prints 'library .*/opt/libzorfhadoop-' \
  inside sh -c '/opt/libzorfhadoop-*/bin/zorfhadoop doctor'

by_name=/usr/lib/x86_64-linux-gnu/jni/libzorfhadoop.so
library=/usr/lib/x86_64-linux-gnu/libzorfhadoop.so
leads_to() {
  [[ $(readlink -f "$jail$by_name") == "$jail$library.$1" ]]
}
check "the next version of the library installs beside this one" \
  install_from /next "libzorfhadoop$next"
check "both are there" test -e "$jail$library.$this" -a -e "$jail$library.$next"
check "Java finds this one by its name" leads_to "$this"
check "and can be told to take the other, which is told" prints \
  "zorfhadoop.jar is version $version, but $library.$next is version $next.0: " \
  inside env ZORFHADOOP_LIBRARY="$library.$next" zorfhadoop status --debug /data/table
check "the next version of the tools brings the name along" \
  install_from /next libzorfhadoop-jni zorfhadoop-tools
check "so that Java finds the next library" leads_to "$next"
check "the library of this version stays" is_installed "libzorfhadoop$this"
check "the tool runs on its own" inside zorfhadoop status /data/table
check "with classes kept anew" archived

check "all of it can be purged" inside sh -c \
  "apt-get purge -y zorfhadoop-standin zorfhadoop-tools libzorfhadoop-jni libzorfhadoop$this libzorfhadoop$next"
check "and is gone" fails inside sh -c 'find /usr /etc /var/lib/dpkg/info -name "*zorf*" ! -name zorf.conf | grep .'
echo "$passed checks passed"
