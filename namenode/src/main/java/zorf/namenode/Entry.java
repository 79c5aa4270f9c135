package zorf.namenode;

import org.apache.hadoop.hdfs.server.namenode.zorf.FileType;

/**
 * What the file system knows of a file.
 *
 * @param path the client's path of it
 * @param type its type; {@link FileType#SYMBOLIC_LINK} only for a link that is not followed
 * @param device the device that it is on
 * @param inode its number there
 * @param permission twelve permission bits
 * @param uid the owner's id
 * @param gid the group's id
 * @param size in bytes
 * @param modified when the data changed, in milliseconds
 * @param accessed when it was read, in milliseconds
 * @param changed when the status changed, in seconds
 * @param acl whether there is more to its permissions than the bits
 * @param blockSize the HDFS block size, 0 for what is no regular file
 * @param replication how many replicas its blocks have, 0 for what is no regular file
 */
record Entry(
    String path,
    FileType type,
    long device,
    long inode,
    int permission,
    long uid,
    long gid,
    long size,
    long modified,
    long accessed,
    long changed,
    boolean acl,
    long blockSize,
    int replication) {

  boolean isDirectory() {
    return type == FileType.DIRECTORY;
  }

  boolean isFile() {
    return type == FileType.REGULAR;
  }

  /** {@return the same file by another path} */
  Entry named(String other) {
    return new Entry(
        other, type, device, inode, permission, uid, gid, size, modified, accessed, changed, acl,
        blockSize, replication);
  }
}
