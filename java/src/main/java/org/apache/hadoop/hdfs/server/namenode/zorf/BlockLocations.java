package org.apache.hadoop.hdfs.server.namenode.zorf;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.util.Arrays;

/**
 * A block location stream: where the replicas of a file range lie. A header, then one entry per
 * block of {@link #blockSize()} bytes, each with {@link #replicaCount()} replicas.
 *
 * <p>Made for long files: the entries are kept in one flat array, and {@link #id} and {@link
 * #secondWord} make no objects.
 */
public final class BlockLocations {
  private static final int HEADER_LENGTH = 32;

  private final long offset;
  private final long length;
  private final long blockSize;
  private final int blockCount;
  private final int replicaCount;
  /** Entry after entry: the identifiers of all replicas, then their second words. */
  private final int[] words;

  private BlockLocations(ByteBuffer stream) {
    offset = stream.getLong();
    length = stream.getLong();
    blockSize = stream.getLong();
    blockCount = stream.getInt();
    replicaCount = stream.getInt();
    // Without entries the replica count is whatever the file system says, also a negative number.
    if (blockCount < 0 || replicaCount < 0 && blockCount != 0) {
      throw new IllegalArgumentException(
          "block location stream with " + blockCount + " blocks of " + replicaCount + " replicas");
    }
    // Compared by a division: the product of two 31-bit counts and 8 needs more than 64 bits.
    long entryLength = 2L * Integer.BYTES * replicaCount;
    long rest = stream.remaining();
    boolean fits =
        entryLength <= 0
            ? rest == 0
            : rest % entryLength == 0 && rest / entryLength == blockCount;
    if (!fits) {
      throw new IllegalArgumentException(
          rest + " bytes for " + blockCount + " blocks of " + replicaCount + " replicas");
    }
    words = new int[stream.remaining() / Integer.BYTES];
    stream.asIntBuffer().get(words);
  }

  /**
   * Decodes a block location stream.
   *
   * @param stream the bytes of {@code getBlockLocationsNative}
   * @return the locations
   * @throws IllegalArgumentException if the length does not agree with the counts in the header
   */
  public static BlockLocations decode(byte[] stream) {
    return decode(stream, 0);
  }

  /** Decodes the stream that starts at {@code from} and ends with {@code bytes}. */
  static BlockLocations decode(byte[] bytes, int from) {
    if (bytes.length - from < HEADER_LENGTH) {
      throw new IllegalArgumentException(
          "block location stream of " + (bytes.length - from) + " bytes");
    }
    ByteBuffer stream = ByteBuffer.wrap(bytes, from, bytes.length - from);
    return new BlockLocations(stream.order(ByteOrder.nativeOrder()));
  }

  /** {@return where the requested range starts; the first block may start before it} */
  public long offset() {
    return offset;
  }

  /** {@return the length of the requested range, cut at the end of the file} */
  public long length() {
    return length;
  }

  /** {@return the block size in bytes that the entries are grouped by} */
  public long blockSize() {
    return blockSize;
  }

  /** {@return the number of entries; 0 where the policy gives no locations} */
  public int blockCount() {
    return blockCount;
  }

  /** {@return the number of replicas in every entry; without entries it may be negative} */
  public int replicaCount() {
    return replicaCount;
  }

  /**
   * Where a replica lies.
   *
   * @param block the entry, from 0
   * @param replica the replica in it, from 0
   * @return the location's identifier; under "rackaware-sort" -1 if there are fewer locations
   * @throws IndexOutOfBoundsException if there is no such entry or replica
   */
  public int id(int block, int replica) {
    return words[index(block, replica)];
  }

  /**
   * What else is said of a replica: under "rackaware-sort" how many file system blocks of this
   * block the location holds (-1 where there is none), otherwise a word of the file system's own.
   *
   * @param block the entry, from 0
   * @param replica the replica in it, from 0
   * @return the replica's second word
   * @throws IndexOutOfBoundsException if there is no such entry or replica
   */
  public int secondWord(int block, int replica) {
    return words[index(block, replica) + replicaCount];
  }

  /**
   * Copies the identifiers of an entry.
   *
   * @param block the entry, from 0
   * @return {@link #id} of all its replicas
   * @throws IndexOutOfBoundsException if there is no such entry
   */
  public int[] ids(int block) {
    return copy(block, 0);
  }

  /**
   * Copies the second words of an entry.
   *
   * @param block the entry, from 0
   * @return {@link #secondWord} of all its replicas
   * @throws IndexOutOfBoundsException if there is no such entry
   */
  public int[] secondWords(int block) {
    return copy(block, replicaCount);
  }

  private int[] copy(int block, int skipped) {
    if (replicaCount == 0) {
      checkIndex("block", block, blockCount);
      return new int[0];
    }
    int start = index(block, 0) + skipped;
    return Arrays.copyOfRange(words, start, start + replicaCount);
  }

  private int index(int block, int replica) {
    checkIndex("block", block, blockCount);
    checkIndex("replica", replica, replicaCount);
    return block * 2 * replicaCount + replica;
  }

  private static void checkIndex(String what, int index, int count) {
    if (index < 0 || index >= count) {
      throw new IndexOutOfBoundsException(what + " " + index + " of " + count);
    }
  }

  /** {@return the header in words} */
  @Override
  public String toString() {
    return blockCount
        + " blocks of "
        + blockSize
        + " bytes with "
        + replicaCount
        + " replicas for "
        + Long.toUnsignedString(length)
        + " bytes at "
        + Long.toUnsignedString(offset);
  }
}
