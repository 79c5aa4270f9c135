#!/usr/bin/env bash
# The Go client, as Debian has it in its package hdfs-cli.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
client="Go client"
. ./same.sh

export HADOOP_NAMENODE=127.0.0.1:$port HADOOP_USER_NAME=root
as() {
  HADOOP_USER_NAME=$1 hdfs "${@:2}" 2>&1
}

as root mkdir -p /home/user1/deep
as root chown user1:group1 /home/user1
as root chmod 750 /home/user1
same "/home/user1" "directory 750 user1 group1" "$(stat -c '%F %a %U %G' "$root/home/user1")"
same "ls -a" "$(ls -a "$root/home")" "$(as root ls -a /home)"
as user1 touch /home/user1/empty
is /home/user1/empty "regular empty file 644 user1 group1 0"

head -c 3000000 /dev/urandom >"$work/data"
as user1 put "$work/data" /home/user1/data
is /home/user1/data "regular file 644 user1 group1 3000000"
same "written data" "$(sha256sum <"$work/data")" "$(sha256sum <"$root/home/user1/data")"
same "read data" "$(sha256sum <"$work/data")" "$(as user1 cat /home/user1/data | sha256sum)"
as user1 get /home/user1/data "$work/got"
same "got data" "$(sha256sum <"$work/data")" "$(sha256sum <"$work/got")"
same "head" "$(head -c 10 "$work/data" | xxd)" "$(as user1 head -c 10 /home/user1/data | xxd)"
same "tail" "$(tail -c 10 "$work/data" | xxd)" "$(as user1 tail -c 10 /home/user1/data | xxd)"
same "du" "3000000 /home/user1/data" "$(as user1 du /home/user1/data | awk '{ print $1, $2 }')"
same "ls -l" "-rw-r--r-- user1 group1 3000000" \
  "$(as user1 ls -l /home/user1/data | awk '{ print $1, $2, $3, $4 }')"

as user1 mv /home/user1/data /home/user1/moved
is /home/user1/data missing
is /home/user1/moved "regular file 644 user1 group1 3000000"
as user1 chmod 600 /home/user1/moved
is /home/user1/moved "regular file 600 user1 group1 3000000"
same "a refused read" "open /home/user1/moved: permission denied" "$(as user3 cat /home/user1/moved || true)"
same "a refused change" "mkdir /home/user3: permission denied" "$(as user3 mkdir /home/user3 || true)"
same "a missing file" "stat /none: file does not exist" "$(as user3 ls /none || true)"
same "a truncation" "" "$(as user1 truncate 1000 /home/user1/moved)"
is /home/user1/moved "regular file 600 user1 group1 1000"
as user1 rm /home/user1/moved
is /home/user1/moved missing
as root rm -r /home
is /home missing
told
