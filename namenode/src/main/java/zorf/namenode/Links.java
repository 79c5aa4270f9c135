package zorf.namenode;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import org.apache.hadoop.fs.FileAlreadyExistsException;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.hdfs.server.namenode.zorf.FileType;

/**
 * Makes and reads symbolic links. To clients an absolute target is a path of theirs; in the file system
 * it is one of this host, so that everybody else can follow the link too.
 */
final class Links {
  private final Root root;
  private final Access access;
  private final Directories directories;
  private final Ownership ownership;

  Links(Root root, Access access, Directories directories, Ownership ownership) {
    this.root = root;
    this.access = access;
    this.directories = directories;
    this.ownership = ownership;
  }

  /** As in HDFS, only where Hadoop's own switch for links is on. */
  @ActsAs(value = ActsAs.Who.CHANGER, paths = {1}, links = {1})
  void createSymlink(String target, String link, FsPermission dirPerm, boolean createParent)
      throws IOException {
    if (!FileSystem.areSymlinksEnabled()) {
      throw new UnsupportedOperationException("Symlinks not supported");
    }
    if (target.isEmpty() || target.indexOf('\0') >= 0) {
      throw new IOException("Invalid target: " + target.replace('\0', '?'));
    }
    access.guard(
        link,
        Access.Need.CREATE,
        () -> {
          if (root.findLink(link).isPresent()) {
            throw new FileAlreadyExistsException("path " + link + " already exists");
          }
          Entry parent = directories.parentOf(link, dirPerm, createParent);
          String local = target.startsWith("/") ? root.local(target) : target;
          Files.createSymbolicLink(root.localPath(link), Path.of(local));
          ownership.adopt(link, parent);
          return null;
        });
  }

  @ActsAs(ActsAs.Who.READER)
  String getLinkTarget(String path) throws IOException {
    return access.guard(
        path,
        Access.Need.NOTHING,
        () -> {
          Entry entry =
              root.findLink(path)
                  .orElseThrow(() -> new FileNotFoundException("File does not exist: " + path));
          if (entry.type() != FileType.SYMBOLIC_LINK) {
            throw new IOException("Path " + path + " is not a symbolic link");
          }
          return root.linkTarget(path);
        });
  }
}
