#!/usr/bin/env bash
# test.sh: installs the packages of build/packages into a fresh Debian, serves a directory there with the
# rights that the unit gives, and has Apache's client ask; then starts both units under a systemd of their
# own. Needs the packages of ./dev package, and what packaging/jail.sh says.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
packages=$root/build/packages

service= booted=
# shellcheck source=packaging/jail.sh
. "$root/packaging/jail.sh"
clean_up() {
  [[ -z $service ]] || kill "$service" 2>/dev/null || true
  [[ -z $booted ]] || pkill -9 --parent "$booted" || true
  remove_jail
  rm -f "$log.systemd"
}
trap clean_up EXIT

cp "$packages"/*.deb "$packages"/zorf-namenode-*.tar.gz "$jail/packages"

inside apt-get update -qq
check "the package installs, with all that it needs" inside sh -c \
  'apt-get install -y --no-install-recommends /packages/zorf-namenode_*.deb /packages/zorfhadoop-tools_*.deb \
    /packages/libzorfhadoop*.deb /packages/zorfhadoop-standin_*.deb'
check "a command line without a directory is refused" prints 'zorf-namenode: --root is missing' \
  inside zorf-namenode
check "and the exit status says so" fails inside zorf-namenode
check "without a client library it says so" prints 'libzorf.so' inside zorf-namenode --root /srv
check "the manual page" inside gzip -t /usr/share/man/man8/zorf-namenode.8.gz
check "configuration files are known as such" test "$(inside dpkg-query -W -f '${Conffiles}' zorf-namenode |
  grep -c /etc/zorf-namenode/)" = 4

unit=$jail/lib/systemd/system/zorf-namenode.service
unit_says() {
  sed -n "s/^$1=//p" "$unit"
}
arguments=$(sed -n 's/^ZORF_NAMENODE_ARGS=//p' "$jail/etc/zorf-namenode/environment")
capabilities=$(unit_says CapabilityBoundingSet | sed 's/CAP_/+/g; s/ /,/g' | tr '[:upper:]' '[:lower:]')
command=$(unit_says ExecStart)

inside sh -c 'mkdir -p /mnt/zorf/home /mnt/zorf/secret && chmod 700 /mnt/zorf/secret && echo text >/mnt/zorf/a &&
  useradd -u 5001 alice && install -d -o alice -m 755 /mnt/zorf/home/alice'
# serve COMMAND...: what systemd would do with the unit, as far as rights go.
serve() {
  : >"$jail/service"
  "${jailed[@]}" env LD_LIBRARY_PATH=/usr/lib/x86_64-linux-gnu/zorfhadoop-standin \
    setpriv --bounding-set "-all,$capabilities" --no-new-privs "$@" >"$jail/service" 2>&1 &
  service=$!
  for ((i = 0; i < 300; i++)); do
    grep -q '^  metrics ' "$jail/service" && return
    kill -0 $service 2>/dev/null || break
    sleep 0.1
  done
  cat "$jail/service"
  return 1
}
stopped() {
  kill "$service" && wait "$service"
}
# hdfs USER ARGUMENT...: Apache's client, out of the same jars.
hdfs() {
  local user=$1
  shift
  inside env HADOOP_USER_NAME="$user" java -cp '/etc/zorf-namenode:/usr/share/zorf-namenode/*' \
    org.apache.hadoop.fs.FsShell -fs "$(grep -o 'hdfs://[0-9.:]*' "$jail/service" | head -1)" "$@"
}
# shellcheck disable=SC2086  # several arguments
check "it serves with the rights of the unit" serve "${command%% *}" $arguments --port 0 --http-port 0
check "a client lists files" prints ' root root *5 .* /a$' hdfs alice -ls /
check "a user makes a directory" hdfs alice -mkdir /home/alice/new
check "which is the user's" test "$(stat -c %u "$jail/mnt/zorf/home/alice/new")" = 5001
check "what is root's alone stays so" prints 'Permission denied: user=alice' hdfs alice -ls /secret
check "the superuser changes owners" hdfs root -chown alice /a
check "so that it is" test "$(stat -c %u "$jail/mnt/zorf/a")" = 5001
check "told to end it ends without a failure" stopped

check "the archive runs by itself" serve sh -c 'tar -xzf /packages/zorf-namenode-*.tar.gz -C /opt &&
  exec /opt/zorf-namenode-*/bin/zorf-namenode --root /mnt/zorf --port 0 --http-port 0'
check "and answers" prints ' alice root *5 .* /a$' hdfs alice -ls /
check "it ends" stopped
service=

inside sh -c 'apt-get install -y --no-install-recommends systemd /packages/zorf-datanode_*.deb' >"$log" 2>&1
check "systemd understands the units" inside systemd-analyze verify --man=no zorf-namenode.service \
  zorf-datanode.service
check "and says nothing against them" test ! -s "$log"

# The units as an administrator would set them up, with the stand-in's locations.
inside sh -c 'umask 077 && mkdir -p /etc/zorf && echo "1 $(od -An -N32 -tx1 /dev/urandom | tr -d " \n")" >/etc/zorf/keys'
for location in {1..4}{1..6}; do echo "$location 127.0.0.1 /rack1"; done >"$jail/etc/zorf/topology"
sed -i 's,^ZORF_NAMENODE_ARGS=.*,& --key /etc/zorf/keys --topology /etc/zorf/topology,' \
  "$jail/etc/zorf-namenode/environment"
echo LD_LIBRARY_PATH=/usr/lib/x86_64-linux-gnu/zorfhadoop-standin >>"$jail/etc/zorf-namenode/environment"
sed 's/^bind = .*/bind = 127.0.0.1/' "$jail/usr/share/doc/zorf-datanode/examples/datanode.conf" \
  >"$jail/etc/zorf/datanode.conf"

# A systemd of the chroot's own, the first process of its own namespaces; loopback is all its network.
umount "$jail/proc"
unshare --pid --fork --uts --ipc --net --cgroup --mount sh -c '
  ip link set lo up && mount --bind "$1" "$1" && cd "$1" &&
  mount -t proc proc proc && mount -t sysfs sysfs sys && mount --rbind /dev dev && mount -t tmpfs tmpfs run &&
  pivot_root . srv && umount -l /srv &&
  exec env -i container=other PATH=/usr/sbin:/usr/bin:/sbin:/bin /lib/systemd/systemd --unit=basic.target' \
  sh "$jail" >"$log.systemd" 2>&1 &
booted=$!
# within COMMAND...: on the machine that has been started.
within() {
  nsenter --target "$(pgrep --parent "$booted" -x systemd)" --mount --pid --uts --ipc --net --cgroup --root --wd \
    env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LANG=C.UTF-8 "$@"
}
up() {
  local i
  for ((i = 0; i < 300; i++)); do
    ! within systemctl is-active --quiet basic.target 2>/dev/null || return 0
    sleep 0.1
  done
  within systemctl list-jobs
}
# or_journal COMMAND...: where it fails, what the units said.
or_journal() {
  "$@" || { within journalctl --no-pager -u zorf-namenode -u zorf-datanode && return 1; }
}
answers() {
  local i
  for ((i = 0; i < 60; i++)); do
    ! within "${client[@]}" -ls / || return 0
    sleep 0.5
  done
  return 1
}
client=(env HADOOP_USER_NAME=alice java -cp '/etc/zorf-namenode:/usr/share/zorf-namenode/*'
  org.apache.hadoop.fs.FsShell -fs hdfs://127.0.0.1:8020)
check "a machine with systemd starts" up
check "both units start" or_journal within systemctl start zorf-datanode zorf-namenode
check "a client lists files" or_journal answers
check "it puts a file" or_journal within "${client[@]}" -put /usr/bin/perl /home/alice/perl
check "which is the user's" test "$(stat -c %u "$jail/mnt/zorf/home/alice/perl")" = 5001
check "and gets the same bytes" within sh -c '"$@" -cat /home/alice/perl | cmp - /usr/bin/perl' sh "${client[@]}"
check "both stop" within systemctl stop zorf-namenode zorf-datanode
check "without a failure" prints '^inactive
^inactive' within systemctl is-active zorf-namenode zorf-datanode
check "no unit has failed" test -z "$(within systemctl list-units --failed --no-legend)"
kill -9 "$(pgrep --parent "$booted" -x systemd)"
wait "$booted" || true
booted=
mount -t proc proc "$jail/proc"
check "it can be purged" inside apt-get purge -y zorf-namenode
check "and is gone" fails inside sh -c 'find /usr /etc /lib /var/lib/dpkg/info -name "*zorf-namenode*" | grep .'
echo "$passed checks passed"
