#!/bin/sh
# with_scratch_mtab.sh COMMAND...: runs a command as root in a mount namespace of its own, where
# /etc is a copy whose mtab is an ordinary file that the command may write. The machine keeps its
# own. Where it may not mount, it runs the command as it is; ZORF_SCRATCH_MTAB tells.
set -eu
. "$(dirname "$0")/../../surroundings.sh"

own_mounts "$@" || exec "$@"
export ZORF_SCRATCH_MTAB=1

# A copy because mtab is a link: a file mounted over it would land on what it points to.
scratch=$(mktemp -d)
mount -t tmpfs -o mode=755 tmpfs "$scratch"
cp -a /etc/. "$scratch/"
rm -f "$scratch/mtab"
: >"$scratch/mtab"
mount --bind "$scratch" /etc
umount --lazy "$scratch"
rmdir "$scratch"
exec "$@"
