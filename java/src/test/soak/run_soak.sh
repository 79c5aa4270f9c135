#!/bin/sh
# run_soak.sh DIRECTORY COMMAND...: runs a command as root in a mount namespace of its own, with the users
# of tests/identity/with_scratch_users.sh, DIRECTORY (emptied) at /mnt, where all users reach it, and a mount
# table that lists a zorf file system at /zorf/soak. Skipped where it may not mount.
set -eu

tests=$(dirname "$0")/../../../../tests
. "$tests/surroundings.sh"

if [ -z "${ZORF_SCRATCH_USERS:-}" ]; then
  own_mounts "$@" || skip "may not mount, for users of its own"
  exec "$tests/identity/with_scratch_users.sh" "$0" "$@"
fi

directory=$1
shift
rm -rf "$directory"
mkdir -p "$directory"
mount --bind "$directory" /mnt

# /etc/mtab is a link into /proc, so a whole /etc takes the place of the real one.
etc=$(mktemp -d)
mount -t tmpfs -o mode=755 tmpfs "$etc"
cp -a /etc/. "$etc/"
rm -f "$etc/mtab"
cat >"$etc/mtab" <<END
/dev/hidden /zorf/soak zorf rw 0 0
/dev/zorf_soak /zorf/soak zorf rw 0 0
/dev/other /zorf/other zorf2 rw 0 0
END
mount --bind "$etc" /etc
umount --lazy "$etc"
rmdir "$etc"

status=0
"$@" || status=$?
rm -rf "$directory"
exit "$status"
