#!/bin/sh
# users.sh DIRECTORY COMMAND...: runs a command as root in a mount namespace of its own, with the users of
# the demonstration, and DIRECTORY, emptied, at /mnt, where all of them reach it. The machine keeps its own
# users. Ends with 77 where it may not mount.
set -eu
. "$(dirname "$0")/../../tests/surroundings.sh"

own_mounts "$@" || skip "this needs root, and mounts of its own, to have users of its own"

directory=$1
shift
rm -rf "$directory"
mkdir -p "$directory"
mount --bind "$directory" /mnt

scratch=$(mktemp -d)
mount -t tmpfs -o mode=755 tmpfs "$scratch"
cp /etc/passwd /etc/group "$scratch/"
cat >>"$scratch/passwd" <<'END'
alice:x:70001:70001::/:/bin/false
bob:x:70002:70002::/:/bin/false
END
cat >>"$scratch/group" <<'END'
alice:x:70001:
bob:x:70002:
analysts:x:70003:alice,bob
END
mount --bind "$scratch/passwd" /etc/passwd
mount --bind "$scratch/group" /etc/group
# The mounts above hold the files; the directory itself need not stay.
umount --lazy "$scratch"
rmdir "$scratch"
exec "$@"
