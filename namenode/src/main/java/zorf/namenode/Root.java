package zorf.namenode;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.nio.file.FileSystemException;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import java.nio.file.attribute.BasicFileAttributes;
import java.nio.file.attribute.FileTime;
import java.util.Map;
import java.util.Optional;
import java.util.concurrent.TimeUnit;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockLocations;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockPieces;
import org.apache.hadoop.hdfs.server.namenode.zorf.FileStatus;
import org.apache.hadoop.hdfs.server.namenode.zorf.FileType;
import org.apache.hadoop.hdfs.server.namenode.zorf.LocatedFileStatus;
import org.apache.hadoop.hdfs.server.namenode.zorf.ZorfFiles;
import org.apache.hadoop.ipc.RetriableException;

/**
 * The directory that clients see as "/": where their paths lead to on this host, and what is there.
 *
 * <p>Links are followed as long as they stay below the root and in its file system. One that leads
 * elsewhere, or nowhere, is what it is: a link.
 */
final class Root {
  private final Path directory;
  private final String prefix;
  private final ZorfFiles files;
  private final long defaultBlockSize;
  private final long device;
  private final String deviceText;
  /** Whether the root has its file system for itself, so that no link can leave the one alone. */
  private final boolean whole;

  /**
   * Takes a directory.
   *
   * @param directory an absolute path without a link in it
   * @param files asks the file system
   * @param defaultBlockSize of files that can't be asked for it
   */
  Root(Path directory, ZorfFiles files, long defaultBlockSize) throws IOException {
    this.directory = directory;
    prefix = directory.toString().equals("/") ? "" : directory.toString();
    this.files = files;
    this.defaultBlockSize = defaultBlockSize;
    device = deviceNow();
    deviceText = device(Files.readAttributes(directory, BasicFileAttributes.class));
    whole = Mounts.isWhole(directory);
  }

  /** {@return what asks the file system about paths of {@link #local}} */
  ZorfFiles files() {
    return files;
  }

  /** {@return the directory itself} */
  Path directory() {
    return directory;
  }

  /** {@return the path on this host of a client's path, which has been checked} */
  String local(String path) {
    return path.length() == 1 ? directory.toString() : prefix + path;
  }

  Path localPath(String path) {
    return Path.of(local(path));
  }

  /** {@return the client's path of a path on this host; the path itself if it is not below the root} */
  String remote(String local) {
    if (local.equals(directory.toString())) {
      return "/";
    }
    return local.startsWith(prefix + "/") ? local.substring(prefix.length()) : local;
  }

  /** The same file by the path that has no link in it, for DataNodes, which follow none. */
  Entry withoutLinks(Entry entry) throws IOException {
    String path = remote(localPath(entry.path()).toRealPath().toString());
    return path.equals(entry.path()) ? entry : entry.named(path);
  }

  /** A path without the links on the way; what it names may be a link itself. */
  String withoutLinksAbove(String path) throws IOException {
    Path directory = localPath(Paths.parent(path)).toRealPath();
    return Paths.child(remote(directory.toString()), Paths.name(path));
  }

  /**
   * The path to name a file by that somebody is refused: the one that has no link in it, unless that
   * would show what is outside of the root.
   */
  String told(Entry entry) throws IOException {
    if (entry.type() == FileType.SYMBOLIC_LINK) {
      return entry.path();
    }
    String real = localPath(entry.path()).toRealPath().toString();
    String path = remote(real);
    return path.equals(real) && !prefix.isEmpty() ? entry.path() : path;
  }

  /** Sets nine permission bits and the sticky bit of what is at a path on this host. */
  void setPermission(String local, int permission) throws IOException {
    if (Paths.isForNatives(local)) {
      files.setPermission(local, permission);
    } else {
      Files.setAttribute(Path.of(local), "unix:mode", permission);
    }
  }

  // What is there.

  /** {@return what a path leads to, empty if there is nothing} */
  Optional<Entry> find(String path) throws IOException {
    try {
      Entry entry = followed(path);
      if (entry.device() == device && isWithin(path)) {
        return Optional.of(entry);
      }
    } catch (NoSuchFileException e) {
      // Or a link that leads nowhere.
    } catch (FileSystemException e) {
      if (!isLoop(e)) {
        throw e;
      }
      // It leads round and round, which is nowhere, too.
    }
    return findLink(path);
  }

  private static boolean isLoop(FileSystemException e) {
    return e.getReason() != null && e.getReason().startsWith("Too many levels of symbolic links");
  }

  /** {@return what a directory has by a name: where a link can't be followed it is a link} */
  Optional<Entry> findListed(String path) throws IOException {
    try {
      return find(path);
    } catch (FileSystemException e) {
      return findLink(path);
    }
  }

  /** {@return what a path names: a link that is in the way is followed, one at its end is not} */
  Optional<Entry> findLink(String path) throws IOException {
    return findOwn(path, true);
  }

  /** {@return what {@link #findLink} finds, but not whether it has an ACL, which costs two calls} */
  Optional<Entry> findSize(String path) throws IOException {
    return findOwn(path, false);
  }

  private Optional<Entry> findOwn(String path, boolean acl) throws IOException {
    try {
      Entry entry = own(path, acl);
      if (entry.device() == device && (path.length() == 1 || isWithin(Paths.parent(path)))) {
        return Optional.of(entry);
      }
    } catch (NoSuchFileException e) {
      // As below: nothing is there.
    }
    checkMounted();
    return Optional.empty();
  }

  /** Whether no link on the way leads out of the root. The device says as much where the root is whole. */
  private boolean isWithin(String path) throws IOException {
    return whole || localPath(path).toRealPath().startsWith(directory);
  }

  /**
   * What a path leads to.
   *
   * @throws FileNotFoundException if there is nothing
   */
  Entry get(String path) throws IOException {
    return find(path)
        .orElseThrow(() -> new FileNotFoundException("File does not exist: " + path));
  }

  /**
   * A regular file and where a range of it lies, both as of one moment.
   *
   * @param entry the file, of which it was not asked whether it has an ACL
   * @param pieces the blocks of the range
   */
  record Located(Entry entry, BlockPieces pieces) {}

  /**
   * What {@link #get} finds, if that is a regular file, by fewer questions than those for its status
   * and then for its blocks. The caller need not be able to read the file.
   *
   * @return empty for all else, of which get() tells
   */
  Optional<Located> locate(String path, long offset, long length) throws IOException {
    if (!Paths.isForNatives(path)) {
      return Optional.empty();
    }
    try {
      BlockPieces pieces = files.blocks(local(path), offset, length);
      boolean regular = pieces.status().type() == FileType.REGULAR;
      if (regular && pieces.device() == device && isWithin(path)) {
        return Optional.of(
            new Located(
                entry(
                    path,
                    pieces.status(),
                    pieces.device(),
                    false,
                    pieces.blockSize(),
                    pieces.replicaCount()),
                pieces));
      }
    } catch (FileSystemException e) {
      // get() meets it, too
    }
    return Optional.empty();
  }

  /**
   * What is to be asked or changed by its path, where the kernel would follow any link.
   *
   * @throws FileNotFoundException if it is a link, which is one that is not to be followed
   */
  static Entry noLink(Entry entry) throws FileNotFoundException {
    if (entry.type() == FileType.SYMBOLIC_LINK) {
      throw new FileNotFoundException("the link leads nowhere that is served: " + entry.path());
    }
    return entry;
  }

  /** {@return where a link leads, as a client's path if it leads below the root} */
  String linkTarget(String path) throws IOException {
    String target = Files.readSymbolicLink(localPath(path)).toString();
    return target.startsWith("/") ? remote(target) : target;
  }

  /** Every call ends with this while another file system, or none, is where the root's was. */
  void checkMounted() throws IOException {
    long now;
    try {
      now = deviceNow();
    } catch (IOException e) {
      now = -1;
    }
    if (now != device) {
      throw new RetriableException("the file system that is served is not mounted");
    }
  }

  /** Refuses a directory of another file system that is mounted within. */
  void checkOnDevice(BasicFileAttributes attributes, Path name) throws IOException {
    if (!device(attributes).equals(deviceText)) {
      throw new IOException(name + " is a mount point");
    }
  }

  /** {@return whether it is the file that was found before} */
  boolean isSame(BasicFileAttributes attributes, Entry entry) {
    String inode = ",ino=" + entry.inode() + ")";
    return device(attributes).equals(deviceText) && attributes.fileKey().toString().endsWith(inode);
  }

  /** A file's key is "(dev=DEVICE,ino=INODE)". */
  private static String device(BasicFileAttributes attributes) {
    String key = attributes.fileKey().toString();
    return key.substring(0, key.indexOf(','));
  }

  private long deviceNow() throws IOException {
    return (long) Files.getAttribute(directory, "unix:dev");
  }

  private Entry followed(String path) throws IOException {
    return Paths.isForNatives(path)
        ? byStatus(path, files.locatedStatus(local(path), false))
        : byAttributes(path, Files.readAttributes(localPath(path), "unix:*"));
  }

  private Entry own(String path, boolean acl) throws IOException {
    return Paths.isForNatives(path)
        ? byStatus(path, files.locatedLinkStatus(local(path), false, acl))
        : byAttributes(
            path, Files.readAttributes(localPath(path), "unix:*", LinkOption.NOFOLLOW_LINKS));
  }

  private static Entry byStatus(String path, LocatedFileStatus located) {
    BlockLocations blocks = located.locations().orElse(null);
    return entry(
        path,
        located.status(),
        located.device(),
        located.hasAcl(),
        blocks == null ? 0 : blocks.blockSize(),
        blocks == null ? 0 : blocks.replicaCount());
  }

  private static Entry entry(
      String path, FileStatus status, long device, boolean acl, long blockSize, int replicas) {
    return new Entry(
        path,
        status.type(),
        device,
        status.inode(),
        status.permission(),
        status.uid(),
        status.gid(),
        status.size(),
        status.modificationTime().toEpochMilli(),
        status.accessTime().toEpochMilli(),
        status.changeTime().getEpochSecond(),
        acl,
        blockSize,
        status.type() == FileType.REGULAR ? Math.max(1, replicas) : 0);
  }

  private Entry byAttributes(String path, Map<String, Object> attributes) {
    int mode = (int) attributes.get("mode");
    FileType type = FileType.ofMode(mode);
    boolean regular = type == FileType.REGULAR;
    return new Entry(
        path,
        type,
        (long) attributes.get("dev"),
        (long) attributes.get("ino"),
        mode & 07777,
        Integer.toUnsignedLong((int) attributes.get("uid")),
        Integer.toUnsignedLong((int) attributes.get("gid")),
        (long) attributes.get("size"),
        ((FileTime) attributes.get("lastModifiedTime")).toMillis(),
        ((FileTime) attributes.get("lastAccessTime")).toMillis(),
        ((FileTime) attributes.get("ctime")).to(TimeUnit.SECONDS),
        false,
        regular ? defaultBlockSize : 0,
        regular ? 1 : 0);
  }
}
