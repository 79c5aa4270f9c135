package org.apache.hadoop.hdfs.server.namenode;

import java.util.HashMap;
import org.apache.commons.logging.Log;
import org.apache.commons.logging.LogFactory;
import org.apache.hadoop.hdfs.server.namenode.zorf.LibraryVersion;

/**
 * The natives of {@code libzorfhadoop}: HDFS requests answered from a zorf file system itself.
 *
 * <p>The library is taken from the path in the system property {@code zorf.library} if that is set,
 * else by its name {@code zorfhadoop} from {@code java.library.path}. It reads {@link #LOG} once, while
 * it loads, and keeps the level that the logger had then.
 *
 * <p>Every native works with the file-system identity of the calling thread, see {@link
 * #setFsUid(String)}, unless it says otherwise. Failures are exceptions chosen from {@code errno}:
 * {@link java.nio.file.NoSuchFileException} for ENOENT, {@link java.nio.file.AccessDeniedException}
 * for EPERM and EACCES, {@link RuntimeException} for ENOMEM, {@link java.io.IOException} for the rest;
 * the message is the system's text for the error, {@code ": "} and mostly the path. All of them are
 * thrown though none is declared. Binary results are in the byte order of the machine.
 *
 * <p>These are the bare natives. {@link org.apache.hadoop.hdfs.server.namenode.zorf.UserThreads} and
 * {@link org.apache.hadoop.hdfs.server.namenode.zorf.ZorfFiles} are what to use them by.
 */
public final class ZORFNative {
  /** Where the library's own log lines go. Must be set before the library loads. */
  public static final Log LOG = LogFactory.getLog(ZORFNative.class);

  static {
    String library = System.getProperty("zorf.library");
    if (library != null) {
      System.load(library);
    } else {
      System.loadLibrary("zorfhadoop");
    }
    String difference = LibraryVersion.difference(library);
    if (difference != null) {
      LOG.warn(difference);
    }
  }

  private ZORFNative() {}

  // Names and ids.

  /**
   * The name of the user {@code uid} (getpwuid_r(3)).
   *
   * @param uid the user's id
   * @return the name
   */
  public static native String getUser(int uid);

  /**
   * The name of the group {@code gid} (getgrgid_r(3)).
   *
   * @param gid the group's id
   * @return the name
   */
  public static native String getGroup(int gid);

  /**
   * The id of a user (getpwnam_r(3)).
   *
   * @param user the name
   * @return the uid; 2^31 and above arrive negative
   */
  public static native int getUid(String user);

  /**
   * The id of a group (getgrnam_r(3)).
   *
   * @param group the name
   * @return the gid; 2^31 and above arrive negative
   */
  public static native int getGid(String group);

  // The calling thread's identity.

  /**
   * Makes the calling thread act on the file system as {@code user}: file-system uid and gid, and
   * supplementary groups. An unknown user acts as {@code nobody}.
   *
   * <p><b>A switch that fails is not reported</b>: without the right to switch, the thread goes on as
   * itself, which may be root, and a name service that fails may cost groups. A thread that is
   * started meanwhile keeps the identity for good, and a virtual thread hands it to others. {@link
   * org.apache.hadoop.hdfs.server.namenode.zorf.UserThreads} has none of these dangers.
   *
   * @param user the name
   * @return a handle to give back exactly once, on the same thread, to {@link #setFsUid(long)}
   */
  public static native long setFsUid(String user);

  /**
   * Ends the switch that returned {@code handle}; the supplementary groups stay.
   *
   * @param handle what {@link #setFsUid(String)} returned; 0 does nothing
   */
  public static native void setFsUid(long handle);

  /**
   * Sets the file creation mask of the whole process (umask(2)).
   *
   * @param mask the permission bits that new files don't get
   * @return 1
   */
  public static native int setUMask(short mask);

  // File status.

  /**
   * The raw {@code struct stat} of a path, to be read through {@link #getFileStatusFormatNative()}.
   *
   * @param path the path
   * @param resolveLink whether a symbolic link stands for its target
   * @return the record
   */
  public static native byte[] getFileStatusNative(String path, boolean resolveLink);

  /**
   * Where the fields lie in a raw status record.
   *
   * @return nine pairs of byte offset and size, for inode, mode, size, access, modification and change
   *     time (seconds, nanoseconds), uid, gid, and the end marker
   */
  public static native int[] getFileStatusFormatNative();

  /**
   * The inode number of a path, links followed.
   *
   * @param path the path
   * @return the inode number
   */
  public static native long getINum(String path);

  /**
   * The target of a symbolic link.
   *
   * @param path the link's path
   * @param size how many bytes of the target are wanted
   * @return the target, cut to {@code size} bytes
   */
  public static native byte[] getLinkTargetNative(String path, int size);

  /**
   * The deepest ancestor of a path (or the path itself) that the caller can reach; the reasons go to
   * the debug log.
   *
   * @param path the path
   * @param resolveLink whether a symbolic link stands for its target
   * @return the ancestor's path; empty unless the log level is debug or trace
   */
  public static native byte[] getFailedPathNative(String path, boolean resolveLink);

  /**
   * The device name of the zorf file system that is mounted exactly at {@code mountPoint}.
   *
   * @param mountPoint the path as the mount table has it
   * @return the device name
   */
  public static native String getFsName(String mountPoint);

  /**
   * Sets the permission bits of a path (chmod(2)).
   *
   * @param path the path
   * @param permission the bits; only {@code permission % 1024} counts
   * @return whether it was done
   */
  public static native boolean setPermission(String path, short permission);

  // Block placement.

  /**
   * Chooses the placement policy of the whole process.
   *
   * @param policy "local", "shared", "rackaware" or "rackaware-sort"
   * @param defaultBlockSize the HDFS block size of files without a block group factor; kept when not
   *     positive
   * @return 0 to 3 for the policies in that order, -1 for an unknown name
   */
  public static native int getBlkCmd(byte[] policy, long defaultBlockSize);

  /**
   * Where the blocks of a byte range of a file lie. Acts as root.
   *
   * @param path the file's path
   * @param offset where the range begins
   * @param length how many bytes it has
   * @param rawStatus the file's raw status record if at hand, else null
   * @return a block location stream
   */
  public static native byte[] getBlockLocationsNative(
      String path, long offset, long length, byte[] rawStatus);

  /**
   * The HDFS block size that the current policy gives a file.
   *
   * @param path the file's path
   * @param rawStatus the file's raw status record if at hand, else null
   * @return the size in bytes
   */
  public static native long getBlockSizeNative(String path, byte[] rawStatus);

  /**
   * Sets the replication of a file.
   *
   * @param path the file's path
   * @param replication how many replicas each block has
   * @param restripe whether the existing data is moved at once too
   * @return whether it was done
   */
  public static native boolean setReplication(String path, short replication, boolean restripe);

  /**
   * Sets the block group factor of a file.
   *
   * @param path the file's path
   * @param factor 1 to 1024
   * @return whether it was done
   */
  public static native boolean setBGF(String path, int factor);

  /**
   * The status of a path and where its blocks lie, in one answer.
   *
   * @param path the path
   * @param followLinks whether a symbolic link stands for its target
   * @param needLocation whether all locations are wanted; if not, there are none, or under "local" those
   *     of the first block, and the call acts as root
   * @param permission whether it is to be told if there is an ACL
   * @return the raw status record, then (with {@code permission}) 2 bytes that are 4096 when it has
   *     an ACL, then (for a regular file) its block location stream
   */
  public static native byte[] getLocatedFileStatusNative(
      String path, boolean followLinks, boolean needLocation, boolean permission);

  // Extended attributes.

  /**
   * Sets an extended attribute (setxattr(2)).
   *
   * @param path the path
   * @param name the attribute's full name, such as "user.origin"
   * @param value null and the empty array both set an empty value
   * @param flags 0, 1 (must not exist) or 2 (must exist)
   * @return 1
   */
  public static native int setExtendedAttribute(
      String path, String name, byte[] value, short flags);

  /**
   * Removes an extended attribute (removexattr(2)).
   *
   * @param path the path
   * @param name the attribute's full name
   * @return 1
   */
  public static native int removeXAttr(String path, String name);

  /**
   * The names of a file's extended attributes. Element 0 is null and the last name does not fit:
   * unless there are none, an {@link ArrayIndexOutOfBoundsException} is thrown. Use {@link
   * #dumpXAttrs} to learn names.
   *
   * @param path the path
   * @return an empty array
   */
  public static native String[] listXAttrs(String path);

  /**
   * The named extended attributes; all of them must exist.
   *
   * @param path the path
   * @param names the attributes' full names
   * @return their values by name
   */
  public static native HashMap<String, byte[]> getXAttrs(String path, String[] names);

  /**
   * All extended attributes of a file.
   *
   * @param path the path
   * @return their values by name
   */
  public static native HashMap<String, byte[]> dumpXAttrs(String path);

  // POSIX ACLs.

  /**
   * The access ACL of a path, and for a directory its default ACL.
   *
   * @param path the path
   * @param rawStatus the path's raw status record if at hand, else null
   * @return an ACL report
   */
  public static native byte[] getAclStatus(String path, byte[] rawStatus);

  /**
   * Replaces the ACL of each scope that the specification has entries for.
   *
   * @param path the path
   * @param specification an ACL specification
   */
  public static native void setAcl(String path, byte[] specification);

  /**
   * Adds the entries of a specification to a path's ACLs, or gives them new permissions.
   *
   * @param path the path
   * @param specification an ACL specification
   */
  public static native void modifyAclEntries(String path, byte[] specification);

  /**
   * Removes the entries of a specification from a path's ACLs.
   *
   * @param path the path
   * @param specification an ACL specification; permissions in it do not matter
   */
  public static native void removeAclEntries(String path, byte[] specification);

  /**
   * Removes the default ACL.
   *
   * @param path the path
   * @param directory whether it is a directory; nothing is done unless it is
   */
  public static native void removeDefaultAcl(String path, boolean directory);

  /**
   * Removes the extended entries of the access ACL, then acts as {@link #removeDefaultAcl}.
   *
   * @param path the path
   * @param directory whether it is a directory
   */
  public static native void removeAcl(String path, boolean directory);
}
