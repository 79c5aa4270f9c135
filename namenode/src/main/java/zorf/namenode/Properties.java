package zorf.namenode;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.nio.file.FileSystemException;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.Path;
import java.nio.file.attribute.BasicFileAttributeView;
import java.nio.file.attribute.FileTime;
import java.nio.file.attribute.UserPrincipalNotFoundException;
import java.util.Optional;
import org.apache.hadoop.fs.permission.FsAction;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.security.AccessControlException;

/** Changes what a file is besides its data: mode, owner, times, replication. */
final class Properties {
  private final Root root;
  private final Access access;
  private final Ownership ownership;
  private final Entrusted entrusted;
  private final ReplicationLimits replicationLimits;

  Properties(
      Root root,
      Access access,
      Ownership ownership,
      Entrusted entrusted,
      ReplicationLimits replicationLimits) {
    this.root = root;
    this.access = access;
    this.ownership = ownership;
    this.entrusted = entrusted;
    this.replicationLimits = replicationLimits;
  }

  @ActsAs(ActsAs.Who.CHANGER)
  void setPermission(String src, FsPermission permission) throws IOException {
    access.guard(
        src,
        Access.Need.OWNER,
        () -> {
          Entry entry = Root.noLink(root.get(src));
          int mode = permission.toShort() & 01777;
          entrusted.asCaller(entry, local -> root.setPermission(local, mode));
          return null;
        });
  }

  @ActsAs(ActsAs.Who.CHANGER)
  void setOwner(String src, String username, String groupname) throws IOException {
    Entry entry = access.guard(src, Access.Need.OWNER, () -> real(src));
    Caller caller = Caller.current();
    if (!caller.superuser()) {
      access.check(src, Access.Need.OWNER);
      if (username != null && !username.equals(caller.user())) {
        throw new AccessControlException(
            "User "
                + caller.user()
                + " is not a super user (non-super user cannot change owner).");
      }
    }
    long uid = username == null ? Ownership.SAME : userId(username);
    long gid = groupname == null ? Ownership.SAME : groupId(groupname);
    if (!caller.superuser()) {
      if (gid != Ownership.SAME && !Identity.ofThread().groups().contains(gid)) {
        throw new AccessControlException(
            "User " + caller.user() + " does not belong to " + groupname);
      }
      uid = Ownership.SAME; // it is the caller's already
    }
    if (uid != Ownership.SAME || gid != Ownership.SAME) {
      ownership.give(entry, uid, gid);
    }
  }

  /** The file that a path leads to, by a path without a link at its end. The superuser's has none. */
  private Entry real(String src) throws IOException {
    Entry entry = Root.noLink(root.get(src));
    if (Caller.current().superuser()) {
      return entry;
    }
    String real = root.remote(root.localPath(src).toRealPath().toString());
    return real.equals(src) ? entry : root.get(real);
  }

  private long userId(String name) throws IOException {
    try {
      return root.files().userId(name);
    } catch (UserPrincipalNotFoundException e) {
      throw new IOException("user " + name + " is unknown on this host");
    }
  }

  private long groupId(String name) throws IOException {
    try {
      return root.files().groupId(name);
    } catch (UserPrincipalNotFoundException e) {
      throw new IOException("group " + name + " is unknown on this host");
    }
  }

  @ActsAs(ActsAs.Who.CHANGER)
  void setTimes(String src, long mtime, long atime) throws IOException {
    access.guard(
        src,
        Access.Need.WRITE,
        () -> {
          Entry entry =
              root.find(src)
                  .orElseThrow(
                      () -> new FileNotFoundException("File/Directory " + src + " does not exist."));
          if (!entry.isFile() && !entry.isDirectory()) {
            // Java would open it, and wait at a FIFO for somebody to write.
            throw new IOException("the times of what is no file can't be set: " + src);
          }
          if (entrusted.isForSuperuser()) {
            entrusted.change(
                root.localPath(src), entry, view -> view.setTimes(time(mtime), time(atime), null));
            return null;
          }
          Path file = root.localPath(src).toRealPath();
          try {
            setTimes(file, mtime, atime, LinkOption.NOFOLLOW_LINKS);
          } catch (FileSystemException e) {
            if (!Access.isRefusal(e)) {
              throw e;
            }
            // HDFS lets everybody who may write, the kernel the owner.
            access.check(src, Access.Need.WRITE);
            Identity identity = Identity.ofThread();
            entrusted.work(
                file,
                entry,
                local -> {
                  access.require(identity, entry, local, FsAction.WRITE);
                  setTimes(Path.of(local), mtime, atime);
                });
          }
          return null;
        });
  }

  private static void setTimes(Path file, long mtime, long atime, LinkOption... options)
      throws IOException {
    Files.getFileAttributeView(file, BasicFileAttributeView.class, options)
        .setTimes(time(mtime), time(atime), null);
  }

  private static FileTime time(long millis) {
    return millis < 0 ? null : FileTime.fromMillis(millis);
  }

  @ActsAs(ActsAs.Who.CHANGER)
  boolean setReplication(String src, short replication) throws IOException {
    replicationLimits.check(src, replication);
    return access.guard(
        src,
        Access.Need.WRITE,
        () -> {
          Entry entry = root.find(src).orElse(null);
          if (entry == null || !entry.isFile()) {
            return false;
          }
          access.check(src, Access.Need.WRITE);
          if (entry.replication() != replication) {
            entrusted.asCaller(
                entry, local -> root.files().setReplication(local, replication, true));
          }
          return true;
        });
  }

  @ActsAs(ActsAs.Who.READER)
  void checkAccess(String path, FsAction mode) throws IOException {
    Optional<Entry> found = access.guard(path, Access.Need.NOTHING, () -> root.find(path));
    access.check(path, Access.Need.NOTHING);
    Entry entry =
        found.orElseThrow(() -> new FileNotFoundException("Path not found: " + path));
    access.require(Identity.ofThread(), entry, mode);
  }
}
