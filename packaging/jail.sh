# To be sourced. A fresh Debian in a folder, to install packages into; and what tests of packages say. Needs
# root, debootstrap and the network. ZORF_MIRROR names another mirror; ZORF_BASE an archive of a base system,
# which is made if it is not there.
#
#   jail      the folder; /proc is mounted in it
#   jailed    a command line: what follows it runs in there, with little in the environment
#   log       a file, for the output of one command at a time
#
# Whoever sources this calls remove_jail at its exit.

((EUID == 0)) || { echo "${0##*/}: run it as root" >&2; exit 1; }
# Mounts of its own, that end with it.
if [[ -z ${ZORF_OWN_MOUNTS:-} ]]; then
  ZORF_OWN_MOUNTS=1 exec unshare --mount --propagation private "$0" "$@"
fi

jail=$(mktemp -d)
log=$jail.log
remove_jail() {
  umount "$jail/proc" 2>/dev/null || true
  rm -rf --one-file-system "$jail" "$log"
}
trap remove_jail EXIT

chmod 755 "$jail"
if [[ -n ${ZORF_BASE:-} && -f $ZORF_BASE ]]; then
  tar -xf "$ZORF_BASE" -C "$jail"
else
  debootstrap --variant=minbase bookworm "$jail" ${ZORF_MIRROR:+"$ZORF_MIRROR"} >"$log"
  [[ -z ${ZORF_BASE:-} ]] || tar -cf "$ZORF_BASE" -C "$jail" .
fi
mount -t proc proc "$jail/proc"
# Java's package wants the directory of a manual page, which minbase leaves out.
mkdir -p "$jail/packages" "$jail/usr/share/man/man1"

jailed=(env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LANG=C.UTF-8
  DEBIAN_FRONTEND=noninteractive chroot "$jail")
# inside COMMAND...
inside() {
  "${jailed[@]}" "$@"
}
passed=0
# check WHAT COMMAND...
check() {
  local what=$1
  shift
  if ! "$@" >"$log" 2>&1; then
    echo "not ok: $what"
    cat "$log"
    exit 1
  fi
  echo "ok: $what"
  passed=$((passed + 1))
}
# prints PATTERN COMMAND...: it prints a line with this, whatever its exit status.
prints() {
  local pattern=$1
  shift
  "$@" >"$jail/printed" 2>&1 || true
  cat "$jail/printed"
  grep -q -- "$pattern" "$jail/printed"
}
fails() {
  ! "$@"
}
