#!/bin/sh
# with_scratch_users.sh COMMAND...: runs a command as root in a mount namespace of its own, where
# /etc/passwd and /etc/group hold the users that scratch_users.h names. The machine keeps its own.
# Where it may not mount, it runs the command as it is; ZORF_SCRATCH_USERS tells.
set -eu
. "$(dirname "$0")/../surroundings.sh"

own_mounts "$@" || exec "$@"
export ZORF_SCRATCH_USERS=1

scratch=$(mktemp -d)
mount -t tmpfs -o mode=755 tmpfs "$scratch"
cp /etc/passwd /etc/group "$scratch/"
{
  echo 'zorf_many:x:60001:60001::/:/bin/false'
  echo 'zorf_root_group:x:60002:0::/:/bin/false'
  echo 'zorf_high:x:3000000000:3000000001::/:/bin/false'
  for i in 1 2 3 4 5 6 7 8; do
    echo "zorf_user$i:x:$((60100 + i)):$((60100 + i))::/:/bin/false"
  done
} >>"$scratch/passwd"
{
  echo 'zorf_many:x:60001:'
  echo 'zorf_high:x:3000000001:'
  seq 300 | awk '{ printf "zorf_group%d:x:%d:zorf_many\n", $1, 61000 + $1 }'
  for i in 1 2 3 4 5 6 7 8; do
    echo "zorf_user$i:x:$((60100 + i)):"
    echo "zorf_user${i}_a:x:$((62000 + 10 * i)):zorf_user$i"
    echo "zorf_user${i}_b:x:$((62000 + 10 * i + 1)):zorf_user$i"
  done
  seq 4000 | awk 'BEGIN { printf "zorf_big:x:63000:" }
    { printf "%smember%05d", ($1 > 1 ? "," : ""), $1 } END { print "" }'
} >>"$scratch/group"
mount --bind "$scratch/passwd" /etc/passwd
mount --bind "$scratch/group" /etc/group
# The mounts above hold the files; the directory itself need not stay.
umount --lazy "$scratch"
rmdir "$scratch"
exec "$@"
