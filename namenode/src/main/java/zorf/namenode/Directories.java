package zorf.namenode;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.attribute.FileAttribute;
import java.nio.file.attribute.PosixFilePermission;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.ArrayDeque;
import java.util.Deque;
import java.util.EnumSet;
import java.util.Optional;
import java.util.Set;
import org.apache.hadoop.fs.FileAlreadyExistsException;
import org.apache.hadoop.fs.ParentNotDirectoryException;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.hdfs.server.namenode.zorf.AclEntry;
import org.apache.hadoop.hdfs.server.namenode.zorf.AclScope;

/** Makes directories, and what new files have in common with them: mode, owner, group. */
final class Directories {
  private static final int STICKY = 01000;
  private static final int WRITE_AND_PASS = 0300;

  private final Root root;
  private final Access access;
  private final Ownership ownership;
  private final boolean inheritance;

  /**
   * Takes what it asks.
   *
   * @param inheritance whether what a default ACL says of new files comes before the client's mask
   */
  Directories(Root root, Access access, Ownership ownership, boolean inheritance) {
    this.root = root;
    this.access = access;
    this.ownership = ownership;
    this.inheritance = inheritance;
  }

  @ActsAs(ActsAs.Who.CHANGER)
  boolean mkdirs(String src, FsPermission masked, boolean createParent) throws IOException {
    return access.guard(src, Access.Need.CREATE, () -> make(src, masked, createParent));
  }

  private boolean make(String src, FsPermission masked, boolean createParent) throws IOException {
    Optional<Entry> found = root.find(src);
    if (found.isPresent()) {
      if (!found.get().isDirectory()) {
        throw new FileAlreadyExistsException("Path is not a directory: " + src);
      }
      return true;
    }
    Entry parent = parentOf(src, masked, createParent);
    makeOne(src, parent, masked, 0);
    return true;
  }

  /**
   * The directory that a new file is to be in.
   *
   * @param path of the new file
   * @param masked the mode of directories that have to be made; null for that of the one they are in
   * @param create whether they may be made
   */
  Entry parentOf(String path, FsPermission masked, boolean create) throws IOException {
    Deque<String> missing = new ArrayDeque<>();
    String directory = Paths.parent(path);
    Optional<Entry> found = root.find(directory);
    while (found.isEmpty()) {
      missing.push(directory);
      directory = Paths.parent(directory);
      found = root.find(directory);
    }
    Entry parent = found.get();
    if (!parent.isDirectory()) {
      throw missing.isEmpty() && !create
          ? new ParentNotDirectoryException("Parent path is not a directory: " + directory)
          : new ParentNotDirectoryException(directory + " (is not a directory)");
    }
    if (!missing.isEmpty() && !create) {
      throw new FileNotFoundException("Parent directory doesn't exist: " + Paths.parent(path));
    }
    FsPermission mode = masked == null ? new FsPermission((short) parent.permission()) : masked;
    for (String each : missing) {
      // The caller has to be able to go on in it.
      parent = makeOne(each, parent, mode, WRITE_AND_PASS);
    }
    return parent;
  }

  private Entry makeOne(String path, Entry parent, FsPermission masked, int added)
      throws IOException {
    int mode = mode(parent, masked) | added;
    try {
      Files.createDirectory(root.localPath(path), attribute(mode));
    } catch (java.nio.file.FileAlreadyExistsException e) {
      Entry other = root.get(path);
      if (!other.isDirectory()) {
        throw new FileAlreadyExistsException("Path is not a directory: " + path);
      }
      return other; // somebody else made it at the same time
    }
    if ((mode & STICKY) != 0) {
      int kept = root.get(path).permission() & 0777; // what a default ACL left of it
      root.setPermission(root.local(path), kept | STICKY);
    }
    ownership.adopt(path, parent);
    return root.get(path);
  }

  /**
   * The client's mask does not count where a default ACL says what new files are to have, unless the
   * configuration has it the other way. Both are a file's mode to the kernel, which cuts what comes of
   * the ACL down to it.
   */
  int mode(Entry parent, FsPermission masked) throws IOException {
    FsPermission unmasked = masked.getUnmasked();
    if (!inheritance || unmasked == null || !parent.acl()) {
      return masked.toShort();
    }
    for (AclEntry entry : root.files().acl(root.local(parent.path()))) {
      if (entry.scope() == AclScope.DEFAULT) {
        return unmasked.toShort();
      }
    }
    return masked.toShort();
  }

  static FileAttribute<Set<PosixFilePermission>> attribute(int mode) {
    PosixFilePermission[] all = PosixFilePermission.values(); // from the owner's to others', r w x
    Set<PosixFilePermission> permissions = EnumSet.noneOf(PosixFilePermission.class);
    for (int i = 0; i < all.length; i++) {
      if ((mode & 0400 >> i) != 0) {
        permissions.add(all[i]);
      }
    }
    return PosixFilePermissions.asFileAttribute(permissions);
  }
}
