# To be sourced. What a test may do on this machine, asked by trying it, and how it is skipped where it
# may not.

# skip REASON: ends a test that can't run here. CTest takes 77 for it, tests/skipped.sh the line.
skip() {
  echo "skipped: $*"
  exit 77
}

# own_mounts ARG...: runs this script again, with these arguments, in a mount namespace whose mounts
# nobody outside sees. Returns 0 in there, and 1 where there can be none.
own_mounts() {
  if [ -n "${ZORF_OWN_MOUNTS:-}" ]; then
    unset ZORF_OWN_MOUNTS  # what this script runs may want its own again
    return 0
  fi
  [ "$(id -u)" = 0 ] || return 1
  if unshare --mount --propagation private true 2>/dev/null; then
    ZORF_OWN_MOUNTS=1 exec unshare --mount --propagation private "$0" "$@"
  fi
  # In a chroot "/" is no mount that could be made private, and what is mounted below may show up outside.
  # Entering the namespace once more leads out of the chroot: there it can be. Whether it helped, or was
  # needed at all, is seen from a mount that is here after its namespace has gone.
  # shellcheck disable=SC2016  # for the shell in there
  private='nsenter --mount=/proc/self/ns/mnt mount --make-rprivate / 2>/dev/null || :'
  probe=$(mktemp -d)
  if unshare --mount --propagation unchanged sh -c \
    "$private"'; mount -t tmpfs tmpfs "$1" && mkdir "$1/seen"' sh "$probe" 2>/dev/null; then
    if [ ! -d "$probe/seen" ]; then
      rmdir "$probe"
      ZORF_OWN_MOUNTS=1 exec unshare --mount --propagation unchanged sh -c \
        "$private"'; exec "$@"' sh "$0" "$@"
    fi
    umount "$probe"
  fi
  rmdir "$probe"
  return 1
}

# takes_attributes FOLDER: whether this user's files in there take ACLs and attributes.
takes_attributes() {
  probe=$(mktemp -d "$1/zorf-probe-XXXXXX" 2>/dev/null) || return 1
  taken=1
  if setfattr -n user.zorf -v 1 "$probe" 2>/dev/null && setfacl -m u:1:r "$probe" 2>/dev/null; then
    taken=0
  fi
  rmdir "$probe"
  return $taken
}

# scratch_folder: prints a folder whose files take both, the usual one if it does.
scratch_folder() {
  for folder in "${TMPDIR:-/tmp}" /tmp /var/tmp /dev/shm; do
    if takes_attributes "$folder"; then
      echo "$folder"
      return 0
    fi
  done
  return 1
}

# reach_tree TREE: lets every user reach a tree that lies below a directory which only root may enter, such
# as /root: an empty one with nothing but the tree in it takes that directory's place. For a mount
# namespace of one's own.
reach_tree() {
  blocked=
  above=$(dirname "$1")
  while [ "$above" != / ]; do
    case $(stat -c %A "$above") in
      *[xt]) ;;
      *) blocked=$above ;;
    esac
    above=$(dirname "$above")
  done
  [ -n "$blocked" ] || return 0
  hold=$(mktemp -d)
  mount --bind "$1" "$hold"
  mount -t tmpfs -o mode=755 tmpfs "$blocked"
  mkdir -p "$1"
  mount --bind "$hold" "$1"
  umount "$hold"
  rmdir "$hold"
  cd "$1"
}

# own_tmp STAGE KEPT...: an empty /tmp, in which only those of the folders KEPT are that are in there already.
# It is made in the empty folder STAGE. For a mount namespace of one's own.
own_tmp() {
  stage=$1
  shift
  mount -t tmpfs -o mode=1777 tmpfs "$stage"
  for kept; do
    kept=$(realpath "$kept")
    case $kept in
      /tmp/*)
        mkdir -p "$stage${kept#/tmp}"
        mount --bind "$kept" "$stage${kept#/tmp}"
        ;;
    esac
  done
  mount --rbind "$stage" /tmp
}
