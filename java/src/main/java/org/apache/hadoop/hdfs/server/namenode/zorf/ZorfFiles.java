package org.apache.hadoop.hdfs.server.namenode.zorf;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.file.attribute.UserPrincipalNotFoundException;
import java.time.Duration;
import java.util.Collection;
import java.util.List;
import java.util.Map;
import java.util.Objects;
import java.util.Optional;
import java.util.OptionalInt;
import org.apache.hadoop.hdfs.server.namenode.ZORFNative;

/**
 * What the natives tell of files and change, with types for bytes and with exceptions that are
 * declared. Every failure of the system is a {@link java.nio.file.FileSystemException} that knows
 * its file and the reason, {@link java.nio.file.NoSuchFileException} and {@link
 * java.nio.file.AccessDeniedException} among them, and a {@link ZorfFailure} that knows the error
 * number.
 *
 * <p>Everything is done as the user that the calling thread acts as, see {@link UserThreads}, but
 * for the locations of blocks: whoever may ask for the status of a file may know them. Paths are
 * absolute; links are followed unless it is said otherwise. Any number of threads may use one object.
 */
public final class ZorfFiles {
  /** The attribute of a block group factor, as the file system has it, and as others keep it. */
  private static final String[] FACTOR_NAMES = {"zorf.BGF", "user.BGF"};

  private static final int MAX_PERMISSION = 01777;
  private static final int MAX_FACTOR = 1024;

  private final StatusLayout layout;
  private final Names names;

  /** Whether an attribute may or must exist before it is set. */
  public enum AttributeMode {
    /** It may. */
    CREATE_OR_REPLACE,
    /** It must not. */
    CREATE,
    /** It must. */
    REPLACE
  }

  private ZorfFiles(Names names) {
    layout = new StatusLayout(ZORFNative.getFileStatusFormatNative());
    this.names = names;
  }

  /** {@return an object that asks the name service each time} */
  public static ZorfFiles create() {
    return new ZorfFiles(new Names(0, 0));
  }

  /**
   * Makes an object that keeps names and ids that it has found, whoever asks. To be called by a thread
   * that acts as nobody else: it starts one, for the process, that asks again before they are too old.
   *
   * @param maxAge for how long; ten times that while the name service does not answer within a second
   * @param maxEntries how many: of names and of ids, of users and of groups, this number each
   * @return the object
   */
  public static ZorfFiles cachingNames(Duration maxAge, int maxEntries) {
    if (maxAge.isNegative() || maxEntries < 0) {
      throw new IllegalArgumentException(maxEntries + " names for " + maxAge);
    }
    return new ZorfFiles(new Names(maxAge.toNanos(), maxEntries));
  }

  /**
   * Chooses the placement policy of the whole process: to be called once, before anything is asked
   * about blocks.
   *
   * @param policy the policy
   * @param defaultBlockSize the HDFS block size of files without a block group factor
   */
  public static void choosePolicy(BlockPolicy policy, long defaultBlockSize) {
    if (defaultBlockSize <= 0) {
      throw new IllegalArgumentException("block size " + defaultBlockSize);
    }
    ZORFNative.getBlkCmd(policy.bytes(), defaultBlockSize);
  }

  /**
   * Has somebody hear how long every native takes that is called through this class, in the whole
   * process.
   *
   * @param observer who hears of it; null for nobody
   */
  public static void observe(NativeObserver observer) {
    Failures.observe(observer);
  }

  // Status.

  /**
   * The status of a file.
   *
   * @param path the path
   * @return the status
   * @throws IOException if it can't be had
   */
  public FileStatus status(String path) throws IOException {
    return layout.decode(record(path, true));
  }

  /**
   * The status of a file, or of a link itself.
   *
   * @param path the path
   * @return the status
   * @throws IOException if it can't be had
   */
  public FileStatus linkStatus(String path) throws IOException {
    return layout.decode(record(path, false));
  }

  private static byte[] record(String path, boolean followLink) throws IOException {
    return Failures.calling(
        "getFileStatusNative", path, () -> ZORFNative.getFileStatusNative(path, followLink));
  }

  /**
   * The status of a file, whether it has an ACL, its block size and replica count; and where all of
   * its blocks lie, if asked. The locations of a file of any size, on its grid, are those of {@link
   * #blocks}.
   *
   * @param path the path
   * @param locations whether to ask for locations; the calling thread must be able to read the file
   * @return the located status
   * @throws IOException if it can't be had
   */
  public LocatedFileStatus locatedStatus(String path, boolean locations) throws IOException {
    return located(path, true, locations, true);
  }

  /**
   * The status of a file, or of a link itself, and what there is to say of its blocks.
   *
   * @param path the path
   * @param locations whether to ask for locations; the calling thread must be able to read the file
   * @return the located status
   * @throws IOException if it can't be had
   */
  public LocatedFileStatus locatedLinkStatus(String path, boolean locations) throws IOException {
    return located(path, false, locations, true);
  }

  /**
   * As {@link #locatedLinkStatus(String, boolean)}; whether the file has an ACL costs two system calls.
   *
   * @param path the path
   * @param locations whether to ask for locations; the calling thread must be able to read the file
   * @param acl whether to ask for an ACL
   * @return the located status, which has no ACL if that was not asked for
   * @throws IOException if it can't be had
   */
  public LocatedFileStatus locatedLinkStatus(String path, boolean locations, boolean acl)
      throws IOException {
    return located(path, false, locations, acl);
  }

  private LocatedFileStatus located(
      String path, boolean followLink, boolean locations, boolean acl) throws IOException {
    byte[] bytes =
        Failures.calling(
            "getLocatedFileStatusNative",
            path,
            () -> ZORFNative.getLocatedFileStatusNative(path, followLink, locations, acl));
    return LocatedFileStatus.decode(layout, bytes, acl);
  }

  /**
   * Where a link leads.
   *
   * @param path the path of the link
   * @return the bytes that it holds
   * @throws IOException if they can't be had
   */
  public byte[] linkTarget(String path) throws IOException {
    return Failures.calling(
        "getLinkTargetNative", path, () -> ZORFNative.getLinkTargetNative(path, 4096));
  }

  /**
   * Sets the permission bits of a file.
   *
   * @param path the path
   * @param permission rwx of user, group and other, and the sticky bit: 0 to 01777
   * @throws IOException if they can't be set
   */
  public void setPermission(String path, int permission) throws IOException {
    if (permission < 0 || permission > MAX_PERMISSION) {
      throw new IllegalArgumentException("permission " + Integer.toOctalString(permission));
    }
    Failures.calling(
        "setPermission", path, () -> ZORFNative.setPermission(path, (short) permission));
  }

  // Blocks.

  /**
   * The blocks that a range of a file touches, and where they lie.
   *
   * @param path the path
   * @param offset where the range starts, at least 0
   * @param length its length, at least 0; what is beyond the end of the file does not count
   * @return the blocks, none for what is no regular file
   * @throws IOException if the file can't be asked
   */
  public BlockPieces blocks(String path, long offset, long length) throws IOException {
    if (offset < 0 || length < 0) {
      throw new IllegalArgumentException("range of " + length + " bytes at " + offset);
    }
    byte[] record = record(path, true);
    return new BlockPieces(path, record, layout.decode(record), offset, length);
  }

  /**
   * Sets the replication of a file.
   *
   * @param path the path
   * @param replication the number of replicas, at least 1
   * @param restripe whether data that is there already follows at once
   * @throws IOException if it can't be set
   */
  public void setReplication(String path, int replication, boolean restripe) throws IOException {
    if (replication < 1 || replication > Short.MAX_VALUE) {
      throw new IllegalArgumentException("replication " + replication);
    }
    Failures.calling(
        "setReplication",
        path,
        () -> ZORFNative.setReplication(path, (short) replication, restripe));
  }

  /**
   * How many blocks of the file system make one HDFS block of a file. The calling thread must be
   * able to read the file.
   *
   * @param path the path
   * @return the block group factor, empty if the file has none
   * @throws IOException if it can't be had
   */
  public OptionalInt blockGroupFactor(String path) throws IOException {
    for (String name : FACTOR_NAMES) {
      Optional<byte[]> value = attribute(path, name);
      if (value.isPresent()) {
        return OptionalInt.of(bigEndian(path, name, value.get()));
      }
    }
    return OptionalInt.empty();
  }

  private static int bigEndian(String path, String name, byte[] value) throws IOException {
    if (value.length != Integer.BYTES) {
      throw Failures.of(path, name + " has " + value.length + " bytes instead of 4", Errno.EIO);
    }
    return ByteBuffer.wrap(value).getInt();
  }

  /**
   * Sets the block group factor of a file.
   *
   * @param path the path
   * @param factor 1 to 1024
   * @throws IOException if it can't be set
   */
  public void setBlockGroupFactor(String path, int factor) throws IOException {
    Failures.calling("setBGF", path, () -> ZORFNative.setBGF(path, factor));
  }

  /**
   * Sets the block group factor that gives a file this HDFS block size.
   *
   * @param path the path
   * @param blockSize the size in bytes
   * @return whether there is such a factor
   * @throws IOException if it can't be set
   */
  public boolean setBlockSize(String path, long blockSize) throws IOException {
    long smallest = BlockPieces.smallestBlockSize(record(path, true));
    long factor = blockSize / smallest;
    if (blockSize % smallest != 0 || factor < 1 || factor > MAX_FACTOR) {
      return false;
    }
    setBlockGroupFactor(path, (int) factor);
    return true;
  }

  // Extended attributes.

  /**
   * All extended attributes of a file.
   *
   * @param path the path
   * @return values by names
   * @throws IOException if one of them can't be read
   */
  public Map<String, byte[]> attributes(String path) throws IOException {
    return Failures.calling("dumpXAttrs", path, () -> ZORFNative.dumpXAttrs(path));
  }

  /**
   * Some extended attributes of a file.
   *
   * @param path the path
   * @param wanted their names, namespace included
   * @return values by names
   * @throws IOException if one of them does not exist or can't be read
   */
  public Map<String, byte[]> attributes(String path, Collection<String> wanted)
      throws IOException {
    String[] array = wanted.toArray(new String[0]);
    return Failures.calling("getXAttrs", path, () -> ZORFNative.getXAttrs(path, array));
  }

  /**
   * An extended attribute of a file.
   *
   * @param path the path
   * @param name its name, namespace included
   * @return its value; empty if it does not exist, or can't on this file system
   * @throws IOException if it can't be read
   */
  public Optional<byte[]> attribute(String path, String name) throws IOException {
    try {
      Map<String, byte[]> found =
          Failures.calling(
              "getXAttrs", path, () -> ZORFNative.getXAttrs(path, new String[] {name}));
      return Optional.of(found.get(name));
    } catch (IOException e) {
      int errno = ZorfFailure.errnoOf(e);
      if (errno == Errno.ENODATA || errno == Errno.EOPNOTSUPP) {
        return Optional.empty();
      }
      throw e;
    }
  }

  /**
   * Sets an extended attribute of a file.
   *
   * @param path the path
   * @param name its name, namespace included
   * @param value its value
   * @param mode whether it may or must exist before
   * @throws IOException if it can't be set
   */
  public void setAttribute(String path, String name, byte[] value, AttributeMode mode)
      throws IOException {
    Objects.requireNonNull(value, "value");
    short flags = (short) mode.ordinal();
    Failures.calling(
        "setExtendedAttribute",
        path,
        () -> ZORFNative.setExtendedAttribute(path, name, value, flags));
  }

  /**
   * Removes an extended attribute of a file.
   *
   * @param path the path
   * @param name its name, namespace included
   * @throws IOException if it does not exist or can't be removed
   */
  public void removeAttribute(String path, String name) throws IOException {
    Failures.calling("removeXAttr", path, () -> ZORFNative.removeXAttr(path, name));
  }

  // ACLs.

  /**
   * The access ACL of a file, then the default ACL of a directory.
   *
   * @param path the path
   * @return the entries, unmodifiable
   * @throws IOException if they can't be had
   */
  public List<AclEntry> acl(String path) throws IOException {
    return AclFormat.decodeReport(
        Failures.calling("getAclStatus", path, () -> ZORFNative.getAclStatus(path, null)));
  }

  /**
   * Replaces the ACL of each scope that there are entries for.
   *
   * @param path the path
   * @param entries the entries; base entries and a mask that are missing are added
   * @throws IOException if they can't be set
   */
  public void setAcl(String path, Collection<AclEntry> entries) throws IOException {
    change("setAcl", path, entries, ZORFNative::setAcl);
  }

  /**
   * Adds entries to the ACLs of a file, or gives those that are there new permissions.
   *
   * @param path the path
   * @param entries the entries
   * @throws IOException if they can't be set
   */
  public void modifyAcl(String path, Collection<AclEntry> entries) throws IOException {
    change("modifyAclEntries", path, entries, ZORFNative::modifyAclEntries);
  }

  /**
   * Removes entries from the ACLs of a file; their permissions don't matter. The mask stays.
   *
   * @param path the path
   * @param entries the entries
   * @throws IOException if they can't be removed
   */
  public void removeAclEntries(String path, Collection<AclEntry> entries) throws IOException {
    change("removeAclEntries", path, entries, ZORFNative::removeAclEntries);
  }

  private interface AclChange {
    void apply(String path, byte[] specification);
  }

  private static void change(
      String name, String path, Collection<AclEntry> entries, AclChange change)
      throws IOException {
    byte[] specification = AclFormat.encodeSpecification(entries);
    Failures.calling(
        name,
        path,
        () -> {
          change.apply(path, specification);
          return null;
        });
  }

  /**
   * Removes all but the base entries of a file's access ACL, and the default ACL of a directory.
   *
   * @param path the path
   * @throws IOException if they can't be removed
   */
  public void removeAcl(String path) throws IOException {
    boolean directory = isDirectory(path);
    Failures.calling(
        "removeAcl",
        path,
        () -> {
          ZORFNative.removeAcl(path, directory);
          return null;
        });
  }

  /**
   * Removes the default ACL of a directory.
   *
   * @param path the path; nothing happens to what is no directory
   * @throws IOException if it can't be removed
   */
  public void removeDefaultAcl(String path) throws IOException {
    boolean directory = isDirectory(path);
    Failures.calling(
        "removeDefaultAcl",
        path,
        () -> {
          ZORFNative.removeDefaultAcl(path, directory);
          return null;
        });
  }

  private boolean isDirectory(String path) throws IOException {
    return status(path).type() == FileType.DIRECTORY;
  }

  /**
   * Reads ACL entries that are separated by commas or line ends, as {@link AclEntry#parseAll} does,
   * but with names or ids: {@code user:alice:rw-,default:group:staff:r-x}.
   *
   * @param text the text
   * @return the entries, unmodifiable
   * @throws UserPrincipalNotFoundException if a name is not known
   * @throws IOException if the name service can't be asked
   * @throws IllegalArgumentException if a piece of the text is not that of an entry
   */
  public List<AclEntry> parseAcl(String text) throws IOException {
    return names.parseAcl(text);
  }

  /**
   * The text of an ACL entry with names, as {@link #parseAcl} reads it.
   *
   * @param entry the entry
   * @return the text; an id without a name stays an id
   * @throws IOException if the name service can't be asked
   */
  public String aclText(AclEntry entry) throws IOException {
    return names.format(entry);
  }

  // Names and ids.

  /**
   * The name of a user.
   *
   * @param uid the id
   * @return the name, or the id in decimal where there is none
   * @throws IOException if the name service can't be asked
   */
  public String userName(long uid) throws IOException {
    return names.user(uid);
  }

  /**
   * The name of a group.
   *
   * @param gid the id
   * @return the name, or the id in decimal where there is none
   * @throws IOException if the name service can't be asked
   */
  public String groupName(long gid) throws IOException {
    return names.group(gid);
  }

  /**
   * The id of a user.
   *
   * @param user the name
   * @return the id, 0 to 2^32 - 1
   * @throws UserPrincipalNotFoundException if the name is not known
   * @throws IOException if the name service can't be asked
   */
  public long userId(String user) throws IOException {
    return names.uid(user);
  }

  /**
   * The id of a group.
   *
   * @param group the name
   * @return the id, 0 to 2^32 - 1
   * @throws UserPrincipalNotFoundException if the name is not known
   * @throws IOException if the name service can't be asked
   */
  public long groupId(String group) throws IOException {
    return names.gid(group);
  }
}
