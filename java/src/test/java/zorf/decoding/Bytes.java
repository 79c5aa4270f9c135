package zorf.decoding;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;

/** Builds byte arrays as the native library lays them out. */
final class Bytes {
  private final ByteBuffer buffer = ByteBuffer.allocate(1 << 12).order(ByteOrder.nativeOrder());

  Bytes ints(int... values) {
    for (int value : values) {
      buffer.putInt(value);
    }
    return this;
  }

  Bytes longs(long... values) {
    for (long value : values) {
      buffer.putLong(value);
    }
    return this;
  }

  Bytes raw(byte... values) {
    buffer.put(values);
    return this;
  }

  byte[] array() {
    byte[] bytes = new byte[buffer.position()];
    buffer.flip();
    buffer.get(bytes);
    return bytes;
  }

  /** A header of a block location stream for a range at 0. */
  static Bytes locations(long length, long blockSize, int blocks, int replicas) {
    return new Bytes().longs(0, length, blockSize).ints(blocks, replicas);
  }

  /** A raw status record as x86-64 lays it out. */
  static byte[] status(int mode, long size) {
    ByteBuffer record = ByteBuffer.allocate(144).order(ByteOrder.nativeOrder());
    record.putLong(8, 4711).putInt(24, mode).putInt(28, -2).putInt(32, 100).putLong(48, size);
    record.putLong(72, 1).putLong(80, 999_999_999);
    record.putLong(88, 1_700_000_000L).putLong(96, 123_456_789);
    record.putLong(104, -1).putLong(112, 5);
    return record.array();
  }

  /** The layout table of {@link #status}. */
  static int[] table() {
    return new int[] {8, 8, 24, 4, 48, 8, 72, 16, 88, 16, 104, 16, 28, 4, 32, 4, 144, 0};
  }
}
