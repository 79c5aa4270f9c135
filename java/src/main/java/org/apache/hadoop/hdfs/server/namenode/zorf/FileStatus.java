package org.apache.hadoop.hdfs.server.namenode.zorf;

import java.time.Instant;

/** The status of a file, decoded from a raw status record by {@link StatusLayout#decode}. */
public final class FileStatus {
  private static final int PERMISSION_BITS = 07777;

  private final long inode;
  private final int mode;
  private final long size;
  private final Instant accessTime;
  private final Instant modificationTime;
  private final Instant changeTime;
  private final long uid;
  private final long gid;

  FileStatus(
      long inode,
      int mode,
      long size,
      Instant accessTime,
      Instant modificationTime,
      Instant changeTime,
      long uid,
      long gid) {
    this.inode = inode;
    this.mode = mode;
    this.size = size;
    this.accessTime = accessTime;
    this.modificationTime = modificationTime;
    this.changeTime = changeTime;
    this.uid = uid;
    this.gid = gid;
  }

  /** {@return the inode number, unsigned} */
  public long inode() {
    return inode;
  }

  /** {@return type and permission bits} */
  public int mode() {
    return mode;
  }

  /** {@return the type of the file} */
  public FileType type() {
    return FileType.ofMode(mode);
  }

  /** {@return twelve permission bits: set-uid, set-gid, sticky, and rwx of user, group, other} */
  public int permission() {
    return mode & PERMISSION_BITS;
  }

  /** {@return the permission bits as four octal digits, such as "0644"} */
  public String permissionOctal() {
    return String.format("%04o", permission());
  }

  /** {@return the permission bits as {@code ls -l} shows them, such as "rwxr-sr-t"} */
  public String permissionText() {
    StringBuilder text = new StringBuilder(9);
    appendTriple(text, mode >> 6, (mode & 04000) != 0, 's');
    appendTriple(text, mode >> 3, (mode & 02000) != 0, 's');
    appendTriple(text, mode, (mode & 01000) != 0, 't');
    return text.toString();
  }

  private static void appendTriple(StringBuilder text, int bits, boolean special, char letter) {
    boolean execute = (bits & 1) != 0;
    text.append((bits & 4) != 0 ? 'r' : '-').append((bits & 2) != 0 ? 'w' : '-');
    if (special) {
      text.append(execute ? letter : Character.toUpperCase(letter));
    } else {
      text.append(execute ? 'x' : '-');
    }
  }

  /** {@return the size in bytes} */
  public long size() {
    return size;
  }

  /** {@return the last access} */
  public Instant accessTime() {
    return accessTime;
  }

  /** {@return the last change of the data} */
  public Instant modificationTime() {
    return modificationTime;
  }

  /** {@return the last change of the status} */
  public Instant changeTime() {
    return changeTime;
  }

  /** {@return the owner's user id, never negative} */
  public long uid() {
    return uid;
  }

  /** {@return the owner's group id, never negative} */
  public long gid() {
    return gid;
  }

  /** {@return one line much like that of {@code ls -l}} */
  @Override
  public String toString() {
    return Long.toUnsignedString(inode)
        + " "
        + type().symbol()
        + permissionText()
        + " "
        + uid
        + " "
        + gid
        + " "
        + size
        + " "
        + modificationTime;
  }
}
