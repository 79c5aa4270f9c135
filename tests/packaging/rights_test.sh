#!/bin/sh
# rights_test.sh BUILD: what docs/operations.md says of the rights of a NameNode, tried with the tool: who
# gets at which file under which capabilities.
set -eu
root=$(cd "$(dirname "$0")/../.." && pwd)
. "$root/tests/surroundings.sh"
build=$1
[ "$(id -u)" = 0 ] || skip "needs root, to have capabilities and to give them up"

# The files of the build must be within reach of a user.
within_reach() {
  setpriv --reuid=1234 --clear-groups test -r "$build/java/zorfhadoop-tool.jar"
}
if ! within_reach; then
  own_mounts "$@" || skip "may not mount: users can't reach $build"
  reach_tree "$root"
  within_reach || skip "users may not read $build"
fi

TMPDIR=$(scratch_folder) || skip "no folder for scratch files takes ACLs and attributes"
export TMPDIR
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
chmod 755 "$scratch"
cd "$scratch"
mkdir -m 700 private
echo text >private/file
echo text >others
echo text >roots
chmod 600 others roots
mkdir shared
chown -R 1235:1235 private others shared
tool=$build/bin/zorfhadoop

fail() {
  echo "rights_test: $*" >&2
  cat err >&2
  exit 1
}
# can WHAT COMMAND..., can_not WHAT COMMAND...
can() {
  what=$1
  shift
  "$@" >out 2>err || fail "can't $what"
}
can_not() {
  what=$1
  shift
  if "$@" >out 2>err; then fail "can $what"; fi
  grep -q 'Permission denied' err || fail "$what: another error"
}

as_root() {
  setpriv --bounding-set="-all,+setuid,+setgid,+dac_read_search,+dac_override,+fowner,$capabilities" "$@"
}
as_user() {
  setpriv --reuid=1234 --regid=1234 --clear-groups \
    --inh-caps="-all,$capabilities" --ambient-caps="-all,$capabilities" "$@"
}
# The mode of a directory with the set-group-id bit after its ACL was changed as root.
mode_after_acl_change() {
  chmod 2750 shared
  as_root "$tool" acl modify user:1001:rx shared >out 2>err || fail "can't change the ACL of others' directory"
  stat -c %a shared
}
capabilities=+fsetid
as_root true 2>/dev/null || skip "may not switch users and capabilities"
capabilities=+setuid,+setgid,+dac_override
as_user true 2>/dev/null || skip "may not switch users and capabilities"
status="$tool status --as nobody $scratch/private/file"
locate="$tool locate --as nobody $scratch/others"
trusted="$tool xattr set --as nobody trusted.a 1 $scratch/roots"

# shellcheck disable=SC2086  # commands
{
  capabilities=+fsetid
  can_not "see as nobody what only the owner may" as_root $status
  can "locate a file that nobody may not read" as_root $locate

  capabilities=+setuid,+setgid
  can_not "see as nobody what only the owner may, without root" as_user $status
  can_not "locate a file that root's permission bits don't open" as_user $locate
  chown 0:0 others
  can "locate a file of root's without further capabilities" as_user $locate

  # The warning: nobody keeps what the process has.
  capabilities=+setuid,+setgid,+dac_override
  can "see everything as nobody with one capability too many" as_user $status

  if setfacl -m u:1001:r shared 2>/dev/null; then
    capabilities=+fsetid
    [ "$(mode_after_acl_change)" = 2750 ] || fail "a changed ACL took the set-group-id bit"
    capabilities=-fsetid
    [ "$(mode_after_acl_change)" = 750 ] || fail "a changed ACL left the set-group-id bit without CAP_FSETID"
  fi

  # A switched thread keeps CAP_SYS_ADMIN, and with it the power over trusted attributes.
  if setfattr -n trusted.probe roots 2>/dev/null; then
    capabilities=+fsetid
    if as_root $trusted >out 2>err; then fail "can set a trusted attribute as nobody"; fi
    capabilities=+fsetid,+sys_admin
    can "set one of root's file as nobody with CAP_SYS_ADMIN" as_root $trusted
  fi
}
