#!/bin/sh
# users.sh COMMAND...: runs a command as root in a mount namespace of its own, where /etc/passwd and
# /etc/group hold the users and groups that Hadoop's suites name. The machine keeps its own.
set -eu
. "$(dirname "$0")/../../tests/surroundings.sh"

own_mounts "$@" || skip "no mount namespace of one's own: the suites need root, and users of their own"

# A user, and the groups that a suite makes a caller of that name a member of.
users='
bob groupY groupZ
bruce
diana
super supergroup
user mygroup
fakeUser fakeGroup
theDoctor tardis
rose powellestates
myuser mygroup
otherUser
user1 group1 group2
user2 group2 group3
user3 group3 group4
smokeUser hadoop
tmpname mygroup
charlie
hadoop
hdfs
newowner
foo fooGroup
bar
barUser bar
other
python
userA users
userB users
hdfs.user
_Hdfs.User-10
hdfs/hadoop-core@apache.org
MYCOMPANY+user.name
testdeduplicateuser
'
groups='admin users sales newgroup hadoopgrp herbivores mammals reptiles toys group mygroup2 groupX testdeduplicategroup
_hadoop.users-- asf-projects hadoop-core@apache.org/100'

scratch=$(mktemp -d)
mount -t tmpfs -o mode=755 tmpfs "$scratch"
# Of the machine's own, those that every Debian has: a suite's name may be taken, by another number.
grep -E '^(root|daemon|bin|nobody):' /etc/passwd >"$scratch/passwd"
grep -E '^(root|daemon|bin|nogroup):' /etc/group >"$scratch/group"
echo "$users" | awk -v more="$groups" -v passwd="$scratch/passwd" -v group="$scratch/group" '
  function add(name) { if (!(name in gid)) { gid[name] = 50000 + ++count; order[count] = name } }
  NF {
    add($1)
    printf "%s:x:%d:%d::/:/bin/false\n", $1, 40000 + NR, gid[$1] >>passwd
    for (i = 2; i <= NF; i++) { add($i); members[$i] = members[$i] (members[$i] == "" ? "" : ",") $1 }
  }
  END {
    n = split(more, names, /[ \n]+/)
    for (i = 1; i <= n; i++) add(names[i])
    for (i = 1; i <= count; i++)
      printf "%s:x:%d:%s\n", order[i], gid[order[i]], members[order[i]] >>group
  }'
mount --bind "$scratch/passwd" /etc/passwd
mount --bind "$scratch/group" /etc/group
# The mounts above hold the files; the directory itself need not stay.
umount --lazy "$scratch"
rmdir "$scratch"
ZORF_SUITE_USERS=1 exec "$@"
