#!/usr/bin/env bash
# make_tool_doc.sh [--check]: writes tool.md and placement.svg by running every command that they
# show; with --check it compares them with what is there. Needs a build, in ../build or where
# ZORF_BUILD says, and root: the users, the mount table and the files of the page exist in a mount
# namespace of its own only. Skipped where there can be none.
set -euo pipefail

docs=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
root=$(dirname "$docs")
build=${ZORF_BUILD:-$root/build}
tool=$build/bin/zorfhadoop

# shellcheck source=tests/surroundings.sh
. "$root/tests/surroundings.sh"
own_mounts "$@" || skip "may not mount, for users and files of its own"
reach_tree "$root"
setpriv --reuid=1501 --clear-groups test -r "$tool" || skip "users may not read this tree"

# --- a small world ------------------------------------------------------------------------------

# On a fresh tmpfs inode numbers are the same every time, and with them the stand-in's placement.
mount -t tmpfs -o mode=755 tmpfs /mnt
touch /mnt/probe
setfattr -n user.probe -v 1 /mnt/probe 2>/dev/null ||
  skip "this kernel's tmpfs has no user attributes"
rm /mnt/probe
# On a tmpfs of its own: how many inodes it takes depends on this machine's /etc.
mkdir -m 755 /mnt/.etc
mount -t tmpfs -o mode=755 tmpfs /mnt/.etc
mkdir -m 755 /mnt/.etc/upper /mnt/.etc/work
mount -t overlay -o lowerdir=/etc,upperdir=/mnt/.etc/upper,workdir=/mnt/.etc/work overlay /etc
printf '%s\n' alice:x:1501:1501::/:/bin/false bob:x:1502:1502::/:/bin/false >>/etc/passwd
printf '%s\n' alice:x:1501: bob:x:1502: analysts:x:1510:alice >>/etc/group
rm -f /etc/mtab
echo 'zorf0 /mnt zorf rw 0 0' >/etc/mtab

# Files are made in a fixed order: it gives them their inode numbers.
demo=/mnt/demo
mkdir -m 755 $demo
cd $demo
mkdir -m 750 logs
mkdir -m 700 private
mkdir -m 755 private/keys
echo '0123456789abcdef' >private/keys/signing.key
truncate -s 40G events-40g.dat
truncate -s 1G table-1g.dat
truncate -s 64M index-64m.dat
echo 'Files to be asked about.' >readme.txt
ln -s events-40g.dat latest
chown -R bob:analysts logs private
chmod 644 ./*.dat readme.txt
cat >/mnt/racks <<'RACKS'
rack 1: 11 12 13 14 15 16
rack 2: 21 22 23 24 25 26
rack 3: 31 32 33 34 35 36
rack 4: 41 42 43 44 45 46
RACKS
touch -h -d '2026-01-05 09:30:00 UTC' ./* private/keys private/keys/*
mkdir -m 755 /mnt/names
unset COLUMNS ZORF_TOPOLOGY NO_COLOR ZORFHADOOP_LIBRARY ZORFHADOOP_OPTS
export LC_ALL=C.UTF-8

# --- the page -----------------------------------------------------------------------------------

page=$(mktemp)
trap 'rm -f "$page"' EXIT

say() { cat >>"$page"; }

# What differs from machine to machine and from run to run.
same_everywhere() {
  sed -E -e "s#$build/#build/#g" \
    -e 's#^(ok    Java +).*#\117.0.15 in /usr/lib/jvm/java-17-openjdk-amd64#' \
    -e 's#libacl\.so\.1\.[0-9.]+#libacl.so.1.1.2301#' \
    -e 's#[0-9]{4}-[0-9]{2}-[0-9]{2}([ T])[0-9]{2}:[0-9]{2}:[0-9]{2}(\.[0-9]+)?#2026-01-05\109:30:00#g' \
    -e 's#tid:[0-9]+#tid:4711#; s#@0x[0-9a-f]+#@0x7f0000000000#'
}

# show COMMAND: the command as it is typed, then what it prints.
show() {
  local status=0 output
  output=$(eval "${1//zorfhadoop/$tool}" 2>&1) || status=$?
  {
    printf '```console\n$ %s\n' "$1"
    [[ -z $output ]] || printf '%s\n' "$output" | same_everywhere
    ((status == 0)) || printf '$ echo $?\n%s\n' "$status"
    printf '```\n\n'
  } >>"$page"
}

# session COMMAND...: several that belong together, in one block.
session() {
  local command output status
  printf '```console\n' >>"$page"
  for command; do
    status=0
    output=$(eval "${command//zorfhadoop/$tool}" 2>&1) || status=$?
    printf '$ %s\n' "$command" >>"$page"
    [[ -z $output ]] || printf '%s\n' "$output" | same_everywhere >>"$page"
    ((status == 0)) || printf '$ echo $?\n%s\n' "$status" >>"$page"
  done
  printf '```\n\n' >>"$page"
}

say <<'MD'
# zorfhadoop, the command-line tool

`zorfhadoop` asks a zorf file system what `libzorfhadoop` tells an HDFS NameNode, through the same
native methods: what it shows is what HDFS clients get. It changes what the NameNode can change, and
tells why a user can't reach a file.

This page is written by `docs/make_tool_doc.sh`, which runs every command on it: with the stand-in
client library, as root, on sample files in `/mnt/demo` that belong to root, bob and the group
analysts. In the build tree the tool is `build/bin/zorfhadoop`.

| Command | What it is for |
|---|---|
| [`status`](#status) | what a file is: owner, mode, size, times, block size, replicas |
| [`ls`](#ls) | directories with the located status of each entry |
| [`locate`](#locate) | which locations hold which blocks: table, map, picture, JSON; sums of several files |
| [`acl`](#acl) | `get`, `set`, `modify`, `remove`, `remove-default`, `restore` in setfacl's text form |
| [`xattr`](#xattr) | `list`, `get`, `set`, `remove`, `dump`, `restore` |
| [`chmod`](#chmod) | permission bits, octal or symbolic |
| [`replication`](#replication-and-bgf), [`bgf`](#replication-and-bgf) | replica count and block group factor |
| [`fsname`](#fsname) | which zorf file system is mounted where |
| [`diagnose`](#diagnose) | which component of a path stops a user |
| [`doctor`](#doctor) | whether library, client library, libacl, rights and mounts are as they should be |
| `help` | `zorfhadoop help acl get` is `zorfhadoop acl get --help` |

**For all of them.** `--help` explains each command, with examples. `--as USER` acts on the file system
as that user, by name or id, as a NameNode does for the users of HDFS; that takes root or the
capabilities `CAP_SETUID` and `CAP_SETGID`. `--debug` shows the library's log lines and the stack
traces of failures. Several paths are asked about one after the other; one that fails doesn't stop the
others. `--json` prints an object per line and path: what was asked for, `"done": true` after a change,
or `"error"`. Bytes that need not be UTF-8, values of attributes and targets of links, stand there in
hex too.

| Exit status | |
|---|---|
| 0 | done |
| 1 | failed, at least for one of the paths; the reason is one line on stderr |
| 2 | wrong command line |

| Variable | |
|---|---|
| `JAVA_HOME` | the Java to run on; otherwise the `java` on the `PATH` |
| `ZORFHADOOP_LIBRARY` | the `libzorfhadoop.so` to load instead of the one beside the tool |
| `ZORFHADOOP_OPTS` | further options for `java` |
| `LD_LIBRARY_PATH` | where else to look for the client library `libzorf.so` |
| `ZORF_TOPOLOGY` | the file that names the racks, for map and picture |
| `NO_COLOR` | no colours, unless `--color always` asks for them |
| `COLUMNS` | the width to fill, instead of the terminal's |

The manual page is `man zorfhadoop`. Completion for bash comes as a file of
`bash-completion`; in zsh source it after `bashcompinit`. It knows commands, options, their values, users
and files.

## status

MD
show 'zorfhadoop status /mnt/demo/events-40g.dat'
show 'zorfhadoop status --no-follow /mnt/demo/latest'
show 'zorfhadoop status --json /mnt/demo/readme.txt'
show 'zorfhadoop status /mnt/demo/nothing'
say <<'MD'
## ls

A `+` after the mode means that there is an ACL. `block` is the HDFS block size; `locations` counts the
different locations that hold blocks of the file.

MD
show 'zorfhadoop ls /mnt/demo'
say <<'MD'
Blocks take the right to read a file. Here alice may read all of them, but may not enter `private`:

MD
show 'zorfhadoop ls -R --as alice /mnt/demo'
say <<'MD'
So it is where a policy gives other blocks than a file has, which [`rackaware-sort`](#locate) may:

MD
show 'zorfhadoop ls --policy rackaware-sort /mnt/demo/readme.txt /mnt/demo/table-1g.dat'
say <<'MD'
With `-R` on a terminal, stderr tells how far the walk is. `--json` prints an object per line and entry.

Names are bytes; the library is asked about text. A name that it would take for another one is marked:

MD
session "touch \$'/mnt/names/caf\\xe9' /mnt/names/plain" 'zorfhadoop ls /mnt/names'
say <<'MD'
## locate

What a NameNode is told depends on its policy; `rackaware` is what the tool takes unless told
otherwise. `local` shows the file system's own blocks, `shared` only block size and replica count.

MD
show 'zorfhadoop locate --rows 8 /mnt/demo/events-40g.dat'
show 'zorfhadoop locate --policy shared /mnt/demo/events-40g.dat'
say <<'MD'
`rackaware-sort` names the locations that hold most of each HDFS block, and how many file system
blocks of it they hold. It takes the file system's block size from the status of a file, and begins to
count anew with each reply of the file system. Where that ends in other blocks than the range has,
`locate` fails, as `ls` does, and says what a NameNode would be told:

MD
show 'zorfhadoop locate --policy rackaware-sort --offset 1G --length 512M /mnt/demo/events-40g.dat'
say <<'MD'
So it is with the stand-in and files that don't lie on zorf, whose own blocks are small: an HDFS block
has more of them than a reply. `--as-on-zorf` puts that right for a trial:

MD
show 'zorfhadoop locate --policy rackaware-sort --as-on-zorf --offset 1G --length 512M /mnt/demo/events-40g.dat'
say <<'MD'
Of several files, or with `--summary` of one, it shows what each rack and location holds, and below
that the blocks that lie on fewer locations than their file is to have replicas. The racks are those of
a topology file, which is the one of the stand-in client library. `--json` prints the same as an object.

MD
show 'cat /mnt/racks'
session 'zorfhadoop replication --set 3 /mnt/demo/index-64m.dat' \
  'zorfhadoop locate --topology /mnt/racks --rows 8 /mnt/demo/*.dat'
say <<'MD'
`--map` draws a row for each location and a column for each block or group of blocks, coloured by racks
on a terminal, with the replicas that each location holds at the right. Where there are many locations,
neighbours of a rack share a row.

MD
show 'zorfhadoop locate --map --topology /mnt/racks --length 4G /mnt/demo/events-40g.dat'
say <<'MD'
`--svg` writes the same as a picture, to standard output if its file is `-`. Of many blocks several share
a column; the darker a cell, the more of them the location holds:

MD
show 'zorfhadoop locate --policy local --svg placement.svg --topology /mnt/racks --rows 4 /mnt/demo/events-40g.dat'
say <<'MD'
![Which location holds which of 10,240 blocks](placement.svg)

MD
show 'zorfhadoop locate --json --length 256M /mnt/demo/events-40g.dat'
say <<'MD'
## acl

ACLs are read and written as `getfacl` and `setfacl` do, with names or ids. `set` replaces, `modify`
adds or changes entries, `remove` takes them away (`--all` leaves only the mode).

MD
session 'zorfhadoop acl modify user:alice:rwx,default:group:analysts:rx /mnt/demo/logs' \
  'zorfhadoop acl get /mnt/demo/logs' \
  'zorfhadoop acl modify mask::rx /mnt/demo/logs' \
  'zorfhadoop acl get /mnt/demo/logs | grep alice'
session 'zorfhadoop acl remove-default /mnt/demo/logs' \
  'zorfhadoop acl remove user:alice /mnt/demo/logs' \
  'zorfhadoop acl set u::rw,u:alice:r,g::-,o::- /mnt/demo/readme.txt' \
  'zorfhadoop acl get --numeric /mnt/demo/readme.txt' \
  'zorfhadoop acl remove --all /mnt/demo/readme.txt' \
  'zorfhadoop acl modify user:carol:rx /mnt/demo/logs' \
  'zorfhadoop acl modify default:user:alice:rx /mnt/demo/readme.txt'
say <<'MD'
With `-R` they take in all that lies below a directory, but not what links there lead to; `X` is `x` for
directories and programs, and default entries go to directories only. `get` writes what `restore` takes
back, as does `setfacl --restore`; and `restore` reads what `getfacl` wrote, or the JSON of `get`:

MD
session 'zorfhadoop acl get -R /mnt/demo/private >/mnt/private.acl' \
  'zorfhadoop acl modify -R user:alice:rX,default:user:alice:rx /mnt/demo/private' \
  'getfacl --absolute-names --omit-header /mnt/demo/private/keys/signing.key' \
  'zorfhadoop acl restore --json /mnt/private.acl' \
  'cat /mnt/private.acl'
say <<'MD'
## xattr

MD
session "zorfhadoop xattr set user.origin 'plant 7' /mnt/demo/table-1g.dat" \
  'zorfhadoop xattr set user.digest 0x00ff10 /mnt/demo/table-1g.dat' \
  'zorfhadoop xattr list /mnt/demo/table-1g.dat' \
  'zorfhadoop xattr get user.origin /mnt/demo/table-1g.dat' \
  'zorfhadoop xattr dump /mnt/demo/table-1g.dat' \
  'zorfhadoop xattr remove user.digest /mnt/demo/table-1g.dat' \
  'zorfhadoop xattr get user.digest /mnt/demo/table-1g.dat'
say <<'MD'
A value may come from stdin. `dump` writes as `getfattr` does: `restore` and `setfattr --restore` take it
back, and the JSON too:

MD
session "printf '\\000\\001' | zorfhadoop xattr set user.digest - /mnt/demo/table-1g.dat" \
  'zorfhadoop xattr dump --json /mnt/demo/table-1g.dat | tee /mnt/table.json' \
  'zorfhadoop xattr remove user.digest /mnt/demo/table-1g.dat' \
  'zorfhadoop xattr restore /mnt/table.json' \
  'zorfhadoop xattr get user.digest /mnt/demo/table-1g.dat'
say <<'MD'
## chmod

Modes are those of chmod(1), but the library can't set set-user-id and set-group-id.

MD
session 'zorfhadoop chmod 1750 /mnt/demo/logs' \
  "zorfhadoop status /mnt/demo/logs | grep mode" \
  'zorfhadoop chmod -R u+rwX,g-w,o= /mnt/demo/private' \
  'zorfhadoop chmod 4755 /mnt/demo/readme.txt'
say <<'MD'
## replication and bgf

Without `--set` both show what is there. `--restripe` moves the data that is there already at once; else
it follows when the file is restriped.

MD
session 'zorfhadoop replication --set 3 --restripe /mnt/demo/table-1g.dat' \
  'zorfhadoop replication /mnt/demo/table-1g.dat /mnt/demo/events-40g.dat' \
  'zorfhadoop replication --set 99 /mnt/demo/table-1g.dat'
say <<'MD'
The block group factor says how many file system blocks make one HDFS block:

MD
session 'zorfhadoop bgf --set 64 /mnt/demo/table-1g.dat' \
  'zorfhadoop bgf /mnt/demo/table-1g.dat /mnt/demo/events-40g.dat /mnt/demo/logs' \
  'zorfhadoop locate --as-on-zorf /mnt/demo/table-1g.dat'
say <<'MD'
## fsname

The mount table of this page is made up, the command is not.

MD
session 'zorfhadoop fsname' 'zorfhadoop fsname /mnt/demo'
say <<'MD'
## diagnose

The library writes to a NameNode's log at debug which component of a path stops a user. `diagnose` reads
these lines and says what they mean; its exit status is 0 if the user reaches the path.

MD
show 'zorfhadoop diagnose /mnt/demo/private/keys/signing.key --as alice'
session 'zorfhadoop acl modify user:alice:rwx,mask::r /mnt/demo/private' \
  'zorfhadoop diagnose /mnt/demo/private/keys/signing.key --as alice' \
  'zorfhadoop acl modify mask::rx /mnt/demo/private' \
  'zorfhadoop diagnose /mnt/demo/private/keys/signing.key --as alice'
show 'zorfhadoop diagnose /mnt/demo/logs/2026/today --as bob'
say <<'MD'
## doctor

MD
show 'zorfhadoop doctor'
say <<'MD'
And where things are not as they should be:

MD
show 'ZORFHADOOP_LIBRARY=/opt/none.so setpriv --reuid=alice --regid=alice --clear-groups zorfhadoop doctor'
say <<'MD'
It looks at the files, where the loader only tells that it found none: one that may not be read, one of
another architecture, another library of the same name. A Java that is too old is told of before it starts.

`--namenode HOST[:PORT]` asks an HDFS NameNode instead, over Hadoop's RPC and without anything of Hadoop's
installed.

## Wrong command lines

MD
session 'zorfhadoop locate' 'zorfhadoop locate --policy rack /mnt/demo/table-1g.dat' \
  'zorfhadoop stat /mnt/demo/table-1g.dat' 'zorfhadoop ls --recursve /mnt/demo'

# The last block ends with an empty line too many.
sed -i '$ d' "$page"
if [[ ${1:-} == --check ]]; then
  diff -u "$docs/tool.md" "$page"
  diff -q "$docs/placement.svg" $demo/placement.svg
else
  cp "$page" "$docs/tool.md"
  cp $demo/placement.svg "$docs/placement.svg"
  chmod 644 "$docs/tool.md" "$docs/placement.svg"
fi
