#!/usr/bin/env python3
"""The Rust client, by the package hdfs-native of PyPI."""

import grp
import hashlib
import os
import pwd
import re
import subprocess
import sys

import hdfs_native

ROOT = os.environ["root"]
URL = "hdfs://127.0.0.1:" + os.environ["port"]
same = different = 0


def check(what, wanted, got):
    global same, different
    if wanted == got:
        same += 1
    else:
        different += 1
        print(f"Rust client: {what}\n  wanted: {wanted}\n  got:    {got}")


def as_user(name):
    os.environ["HADOOP_USER_NAME"] = name
    return hdfs_native.Client(URL)


def on_host(path):
    """What the file system itself says of a file, as the client has it."""
    found = os.stat(ROOT + path)
    return (
        os.path.isdir(ROOT + path),
        oct(found.st_mode & 0o1777),
        pwd.getpwuid(found.st_uid).pw_name,
        grp.getgrgid(found.st_gid).gr_name,
        found.st_size if not os.path.isdir(ROOT + path) else 0,
        int(found.st_mtime * 1000),
    )


def told(status):
    return (
        status.isdir,
        oct(status.permission),
        status.owner,
        status.group,
        status.length,
        status.modification_time,
    )


def is_same(client, path):
    check(path, on_host(path), told(client.get_file_info(path)))


def refused(call, *arguments):
    try:
        call(*arguments)
        return "nothing"
    except Exception as failure:  # the server's text, with its stack, is in quotes
        text = re.search(r'", "(.*?)\\n', str(failure))
        return text.group(1).replace('\\"', '"') if text else str(failure)


def acl_on_host(path):
    told = subprocess.run(["getfacl", "-cp", ROOT + path], capture_output=True, text=True, check=True)
    return sorted(line.split("\t")[0] for line in told.stdout.split("\n") if line)


def acl_told(client, path):
    """The client's entries and the ones that HDFS keeps in the mode."""
    status = client.get_acl_status(path)
    lines = []
    has_mask = any(entry.scope.lower() == "access" for entry in status.entries)
    mode = client.get_file_info(path).permission
    for entry in status.entries:
        scope = "default:" if entry.scope.lower() == "default" else ""
        lines.append(f"{scope}{entry.type.lower()}:{entry.name or ''}:{letters(entry.permissions)}")
    bits = [letters(f"{mode >> shift & 7}") for shift in (6, 3, 0)]
    lines.append("user::" + bits[0])
    lines.append(("mask::" if has_mask else "group::") + bits[1])
    lines.append("other::" + bits[2])
    return sorted(lines)


def letters(permission):
    if permission.isdigit():
        value = int(permission)
        return "".join(c if value & b else "-" for c, b in (("r", 4), ("w", 2), ("x", 1)))
    return permission


root = as_user("root")
root.mkdirs("/rust/deep", 0o755, True)
is_same(root, "/rust/deep")
root.set_owner("/rust", "user1", "group1")
root.set_permission("/rust", 0o750)
is_same(root, "/rust")

user = as_user("user1")
data = os.urandom(3_000_000)
with user.create("/rust/data", hdfs_native.WriteOptions()) as file:
    file.write(data)
is_same(user, "/rust/data")
with open(ROOT + "/rust/data", "rb") as file:
    check("written data", hashlib.sha256(data).hexdigest(), hashlib.sha256(file.read()).hexdigest())
with user.read("/rust/data") as file:
    check("read data", hashlib.sha256(data).hexdigest(), hashlib.sha256(file.read()).hexdigest())
with user.append("/rust/data") as file:
    file.write(b"more")
is_same(user, "/rust/data")

check(
    "a listing",
    sorted(os.listdir(ROOT + "/rust")),
    sorted(os.path.basename(status.path) for status in user.list_status("/rust")),
)
check("glob", ["/rust/data"], [status.path for status in user.glob_status("/rust/da*")])
summary = user.get_content_summary("/rust")
check("count", (3_000_004, 1, 2), (summary.length, summary.file_count, summary.directory_count))
user.set_times("/rust/data", 1_234_567_890_123, 1_234_567_890_456)
is_same(user, "/rust/data")
user.rename("/rust/data", "/rust/moved")
check("a moved file", False, os.path.exists(ROOT + "/rust/data"))
is_same(user, "/rust/moved")

Entry = hdfs_native.AclEntry
user.modify_acl_entries("/rust/moved", [Entry("user", "access", "r--", "user3")])
check("modifyAclEntries", acl_on_host("/rust/moved"), acl_told(user, "/rust/moved"))
user.modify_acl_entries("/rust/moved", [Entry("group", "access", "rw-", "group3")])
user.remove_acl_entries("/rust/moved", [Entry("user", "access", "---", "user3")])
check("removeAclEntries", acl_on_host("/rust/moved"), acl_told(user, "/rust/moved"))
user.remove_acl("/rust/moved")
check("removeAcl", acl_on_host("/rust/moved"), acl_told(user, "/rust/moved"))
root.set_owner("/rust/deep", "user1", "group1")
user.set_acl(
    "/rust/deep",
    [
        Entry("user", "access", "rwx", None),
        Entry("group", "access", "r-x", None),
        Entry("other", "access", "---", None),
        Entry("user", "default", "rwx", "user2"),
    ],
)
check("setAcl", acl_on_host("/rust/deep"), acl_told(user, "/rust/deep"))
user.remove_default_acl("/rust/deep")
check("removeDefaultAcl", acl_on_host("/rust/deep"), acl_told(user, "/rust/deep"))

stranger = as_user("user3")
text = refused(lambda: list(stranger.list_status("/rust")))
check(
    "a refused listing",
    'Permission denied: user=user3, access=READ_EXECUTE, inode="/rust":user1:group1:drwxr-x---',
    text,
)
check("a missing file", "/none", refused(stranger.get_file_info, "/none"))
user.delete("/rust/moved", False)
check("a deleted file", False, os.path.exists(ROOT + "/rust/moved"))
root.delete("/rust", True)
check("a deleted tree", False, os.path.exists(ROOT + "/rust"))

print(f"Rust client: {same} answers as the file system's, {different} not")
sys.exit(different != 0)
