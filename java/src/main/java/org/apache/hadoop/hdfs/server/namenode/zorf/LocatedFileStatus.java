package org.apache.hadoop.hdfs.server.namenode.zorf;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.util.Optional;

/** A file's status and, for a regular file, where its blocks lie. */
public final class LocatedFileStatus {
  private static final int ACL_FLAG = 0x1000;

  private final FileStatus status;
  private final long device;
  private final boolean acl;
  private final BlockLocations locations;

  private LocatedFileStatus(
      FileStatus status, long device, boolean acl, BlockLocations locations) {
    this.status = status;
    this.device = device;
    this.acl = acl;
    this.locations = locations;
  }

  /**
   * Decodes a located status array.
   *
   * @param layout the layout of the raw status record in it
   * @param bytes the bytes of {@code getLocatedFileStatusNative}
   * @param permission whether the permission value was asked for
   * @return the located status
   * @throws IllegalArgumentException if the parts do not fill the array exactly
   */
  public static LocatedFileStatus decode(StatusLayout layout, byte[] bytes, boolean permission) {
    FileStatus status = layout.decodePrefix(bytes);
    int end = layout.recordLength() + (permission ? Short.BYTES : 0);
    if (bytes.length < end) {
      throw new IllegalArgumentException("located status of " + bytes.length + " bytes");
    }
    long device = device(bytes);
    boolean acl = permission && (shortAt(bytes, layout.recordLength()) & ACL_FLAG) != 0;
    if (status.type() == FileType.REGULAR) {
      return new LocatedFileStatus(status, device, acl, BlockLocations.decode(bytes, end));
    }
    if (bytes.length != end) {
      throw new IllegalArgumentException(
          (bytes.length - end) + " bytes after the status of a " + status.type());
    }
    return new LocatedFileStatus(status, device, acl, null);
  }

  /** What a record begins with on every system, and what no layout table names. */
  static long device(byte[] record) {
    return ByteBuffer.wrap(record).order(ByteOrder.nativeOrder()).getLong(0);
  }

  private static short shortAt(byte[] bytes, int offset) {
    return ByteBuffer.wrap(bytes).order(ByteOrder.nativeOrder()).getShort(offset);
  }

  /** {@return the status} */
  public FileStatus status() {
    return status;
  }

  /** {@return the number of the device that the file is on} */
  public long device() {
    return device;
  }

  /** {@return whether the file has an ACL; false if the permission value was not asked for} */
  public boolean hasAcl() {
    return acl;
  }

  /** {@return the block locations of a regular file, empty for anything else} */
  public Optional<BlockLocations> locations() {
    return Optional.ofNullable(locations);
  }
}
