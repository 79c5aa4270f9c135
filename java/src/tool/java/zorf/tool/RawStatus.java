package zorf.tool;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;

/**
 * The block size in a raw status record. It is missing from the layout table, for Java has no need
 * of it, but the library trusts a record that it is given: blocks are counted by it.
 */
final class RawStatus {
  /** Where x86-64 has st_blksize. */
  private static final int BLOCK_SIZE_OFFSET = 56;

  private RawStatus() {}

  static long blockSize(byte[] record) {
    return ByteBuffer.wrap(record).order(ByteOrder.nativeOrder()).getLong(BLOCK_SIZE_OFFSET);
  }

  static byte[] withBlockSize(byte[] record, long blockSize) {
    byte[] copy = record.clone();
    ByteBuffer.wrap(copy).order(ByteOrder.nativeOrder()).putLong(BLOCK_SIZE_OFFSET, blockSize);
    return copy;
  }
}
