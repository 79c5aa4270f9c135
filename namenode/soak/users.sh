#!/bin/sh
# users.sh COUNT COMMAND...: runs a command as root in a mount namespace of its own, whose /etc is a copy that
# the command may change as it likes: what names the users of the machine goes and comes in there. It has the
# users u1 to uCOUNT besides, with uid and gid from 60001 on. Ends with 77 where it may not mount.
set -eu
. "$(dirname "$0")/../../tests/surroundings.sh"

own_mounts "$@" || skip "the soak needs root, and mounts of its own, to have users of its own"

count=$1
shift
scratch=$(mktemp -d)
mount -t tmpfs -o mode=755 tmpfs "$scratch"
cp -a /etc/. "$scratch"
for i in $(seq "$count"); do
  echo "u$i:x:$((60000 + i)):$((60000 + i))::/:/bin/false" >>"$scratch/passwd"
  echo "u$i:x:$((60000 + i)):" >>"$scratch/group"
done
mount --bind "$scratch" /etc
# The mount above holds the files; the directory itself need not stay.
umount --lazy "$scratch"
rmdir "$scratch"
exec "$@"
