package zorf.namenode;

import java.io.IOException;
import java.nio.file.AccessDeniedException;
import java.nio.file.FileSystemException;
import java.util.ArrayList;
import java.util.List;
import java.util.Optional;
import org.apache.hadoop.fs.permission.FsAction;
import org.apache.hadoop.hdfs.server.namenode.zorf.AclEntry;
import org.apache.hadoop.hdfs.server.namenode.zorf.AclScope;
import org.apache.hadoop.hdfs.server.namenode.zorf.AclTag;
import org.apache.hadoop.security.AccessControlException;

/**
 * Says why the kernel refused something, in the words of HDFS: which part of the path, which access,
 * whose it is. Also answers what only HDFS asks. All of it as the user of the calling thread.
 */
final class Access {
  /**
   * What an operation needs of the path that it is about, and of those above it. All directories on
   * the way are to be passed through besides.
   *
   * @param ancestor of the nearest directory above it that exists
   * @param parent of the directory that it is in
   * @param self of itself
   * @param owner whether it must be the caller's own
   */
  record Need(FsAction ancestor, FsAction parent, FsAction self, boolean owner) {
    static final Need NOTHING = new Need(FsAction.NONE, FsAction.NONE, FsAction.NONE, false);
    static final Need CREATE = new Need(FsAction.WRITE, FsAction.NONE, FsAction.NONE, false);
    static final Need DELETE = new Need(FsAction.NONE, FsAction.WRITE, FsAction.NONE, false);
    static final Need READ = of(FsAction.READ);
    static final Need WRITE = of(FsAction.WRITE);
    static final Need LIST = of(FsAction.READ_EXECUTE);
    static final Need OWNER = new Need(FsAction.NONE, FsAction.NONE, FsAction.NONE, true);

    static Need of(FsAction self) {
      return new Need(FsAction.NONE, FsAction.NONE, self, false);
    }
  }

  /** What is done and may be refused. */
  @FunctionalInterface
  interface Work<T> {
    T run() throws IOException;
  }

  private final Root root;

  Access(Root root) {
    this.root = root;
  }

  /** Does something about a path; where it is refused, the exception says why. */
  <T> T guard(String path, Need need, Work<T> work) throws IOException {
    try {
      return work.run();
    } catch (FileSystemException e) {
      throw isRefusal(e) ? refusal(path, need, e) : e;
    }
  }

  /** Java has a class for one of the two errors that a refusal is. */
  static boolean isRefusal(FileSystemException e) {
    return e instanceof AccessDeniedException || "Operation not permitted".equals(e.getReason());
  }

  private AccessControlException refusal(String path, Need need, IOException cause)
      throws IOException {
    check(path, need);
    AccessControlException refusal =
        new AccessControlException(
            "Permission denied: user=" + Caller.current().user() + ", path=\"" + path + "\"");
    refusal.initCause(cause);
    return refusal;
  }

  /**
   * Refuses what the permissions on the way to a path, or its own, don't allow.
   *
   * @throws AccessControlException in the words of HDFS
   */
  void check(String path, Need need) throws IOException {
    Identity identity = Identity.ofThread();
    if (identity.isRoot()) {
      return;
    }
    Entry ancestor = null;
    Entry parent = null;
    for (String directory : above(path)) {
      Optional<Entry> found = root.find(directory);
      parent = found.orElse(null);
      if (found.isEmpty()) {
        break;
      }
      ancestor = parent;
      if (!parent.isDirectory()) {
        throw new AccessControlException(root.told(parent) + " (is not a directory)");
      }
      require(identity, parent, FsAction.EXECUTE);
    }
    boolean itself = need.parent().implies(FsAction.WRITE);
    Optional<Entry> self = itself ? root.findLink(path) : root.find(path);
    if (parent != null && self.isPresent() && itself) {
      requireUnstuck(identity, parent, self.get());
    }
    if (ancestor != null) {
      require(identity, ancestor, need.ancestor());
    }
    if (parent != null) {
      require(identity, parent, need.parent());
    }
    if (self.isPresent()) {
      require(identity, self.get(), need.self());
      if (need.owner() && self.get().uid() != identity.uid()) {
        throw new AccessControlException(
            "Permission denied. user="
                + Caller.current().user()
                + " is not the owner of inode="
                + path);
      }
    }
  }

  /** Refuses what a file's own permissions don't allow; the way to it is not looked at. */
  void require(Identity identity, Entry entry, FsAction action) throws IOException {
    if (identity.isRoot() || action == FsAction.NONE) {
      return;
    }
    List<AclEntry> acl = entry.acl() ? accessAcl(root.local(entry.path())) : List.of();
    require(identity, entry, acl, action);
  }

  /** As above, by the ACL of what is at a path on this host. */
  void require(Identity identity, Entry entry, String local, FsAction action) throws IOException {
    require(identity, entry, accessAcl(local), action);
  }

  private void require(Identity identity, Entry entry, List<AclEntry> acl, FsAction action)
      throws IOException {
    boolean extended = acl.size() > 3;
    boolean permitted =
        extended
            ? permitted(identity, entry, acl, action)
            : FsAction.values()[bits(identity, entry)].implies(action);
    if (!permitted) {
      throw new AccessControlException(
          "Permission denied: user="
              + Caller.current().user()
              + ", access="
              + action
              + ", inode="
              + describe(entry)
              + (extended ? "+" : ""));
    }
  }

  private static int bits(Identity identity, Entry entry) {
    int shift = 0;
    if (entry.uid() == identity.uid()) {
      shift = 6;
    } else if (identity.groups().contains(entry.gid())) {
      shift = 3;
    }
    return entry.permission() >> shift & 7;
  }

  private List<AclEntry> accessAcl(String local) throws IOException {
    List<AclEntry> access = new ArrayList<>();
    for (AclEntry each : root.files().acl(local)) {
      if (each.scope() == AclScope.ACCESS) {
        access.add(each);
      }
    }
    return access;
  }

  /** The kernel's own rules, see acl(5). */
  private static boolean permitted(
      Identity identity, Entry entry, List<AclEntry> acl, FsAction action) {
    int mask = 7;
    int other = 0;
    for (AclEntry each : acl) {
      if (each.tag() == AclTag.MASK) {
        mask = each.permission();
      } else if (each.tag() == AclTag.OTHER) {
        other = each.permission();
      }
    }
    boolean grouped = false;
    boolean allowed = false;
    for (AclEntry each : acl) {
      switch (each.tag()) {
        case USER_OBJ -> {
          if (entry.uid() == identity.uid()) {
            return FsAction.values()[each.permission()].implies(action);
          }
        }
        case USER -> {
          if (each.qualifier() == identity.uid()) {
            return FsAction.values()[each.permission() & mask].implies(action);
          }
        }
        case GROUP_OBJ, GROUP -> {
          long group = each.tag() == AclTag.GROUP ? each.qualifier() : entry.gid();
          if (identity.groups().contains(group)) {
            grouped = true;
            allowed |= FsAction.values()[each.permission() & mask].implies(action);
          }
        }
        default -> {}
      }
    }
    return grouped ? allowed : FsAction.values()[other].implies(action);
  }

  /** Refuses to take somebody else's file out of a directory with the sticky bit. */
  void requireUnstuck(Identity identity, Entry parent, Entry child) throws IOException {
    boolean sticky = (parent.permission() & 01000) != 0;
    if (sticky && parent.uid() != identity.uid() && child.uid() != identity.uid()) {
      throw new AccessControlException(
          "Permission denied by sticky bit: user="
              + Caller.current().user()
              + ", path="
              + describe(child)
              + ", parent="
              + describe(parent));
    }
  }

  /** {@return path, owner, group and mode} */
  private String describe(Entry entry) throws IOException {
    return "\""
        + root.told(entry)
        + "\":"
        + root.files().userName(entry.uid())
        + ":"
        + root.files().groupName(entry.gid())
        + ":"
        + (entry.isDirectory() ? "d" : "-")
        + Statuses.permission(entry);
  }

  /** The directories on the way to a path, the root first. */
  private static List<String> above(String path) {
    List<String> above = new ArrayList<>();
    if (path.length() > 1) {
      above.add("/");
      for (int slash = path.indexOf('/', 1); slash > 0; slash = path.indexOf('/', slash + 1)) {
        above.add(path.substring(0, slash));
      }
    }
    return above;
  }
}
