package zorf.demo;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;

/**
 * The block size in a raw status record. Blocks are counted by it, so on zorf it is the file
 * system's; elsewhere the kernel puts the size of a page or so there. It is not meant for Java and
 * missing from the layout table, but the library trusts a record that it is given.
 */
final class StatusRecord {
  /** Where x86-64 has st_blksize. */
  private static final int BLOCK_SIZE_OFFSET = 56;

  private StatusRecord() {}

  static long blockSize(byte[] record) {
    return ByteBuffer.wrap(record).order(ByteOrder.nativeOrder()).getLong(BLOCK_SIZE_OFFSET);
  }

  static byte[] withBlockSize(byte[] record, long blockSize) {
    byte[] copy = record.clone();
    ByteBuffer.wrap(copy).order(ByteOrder.nativeOrder()).putLong(BLOCK_SIZE_OFFSET, blockSize);
    return copy;
  }
}
