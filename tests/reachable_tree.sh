# To be sourced. reach_tree TREE: lets every user reach a tree that lies below a directory which only
# root may enter, such as /root: an empty one with nothing but the tree in it takes that directory's
# place. For a mount namespace of one's own.
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
