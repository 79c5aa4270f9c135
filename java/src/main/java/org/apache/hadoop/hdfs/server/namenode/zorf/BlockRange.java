package org.apache.hadoop.hdfs.server.namenode.zorf;

/**
 * Blocks of a file that follow one another on the grid of its block size: block {@code i} starts at
 * {@code offset() + i * blockSize()}, and the last of a file ends with it. What the locations are
 * follows the placement policy; under "shared" there are blocks, but no locations.
 */
public final class BlockRange {
  private final long offset;
  private final long length;
  private final int blockCount;
  private final BlockLocations locations;

  BlockRange(long offset, long length, int blockCount, BlockLocations locations) {
    this.offset = offset;
    this.length = length;
    this.blockCount = blockCount;
    this.locations = locations;
  }

  /** {@return where the first block starts, a multiple of the block size} */
  public long offset() {
    return offset;
  }

  /** {@return how many bytes the blocks cover, cut at the end of the file} */
  public long length() {
    return length;
  }

  /** {@return the size of every block but the last of the file} */
  public long blockSize() {
    return locations.blockSize();
  }

  /** {@return the number of blocks, at least 1} */
  public int blockCount() {
    return blockCount;
  }

  /** {@return the number of replicas; under "shared" it may be negative, as the file system says} */
  public int replicaCount() {
    return locations.replicaCount();
  }

  /** {@return whether the policy says where the replicas lie} */
  public boolean hasLocations() {
    return locations.blockCount() != 0;
  }

  /**
   * Where a block starts.
   *
   * @param block the block, from 0
   * @return its offset in the file
   * @throws IndexOutOfBoundsException if there is no such block
   */
  public long blockOffset(int block) {
    check(block);
    return offset + block * blockSize();
  }

  /**
   * How long a block is.
   *
   * @param block the block, from 0
   * @return the block size, or less for the last block of the file
   * @throws IndexOutOfBoundsException if there is no such block
   */
  public long blockLength(int block) {
    check(block);
    return Math.min(blockSize(), length - block * blockSize());
  }

  /**
   * Where the replicas of a block lie.
   *
   * @param block the block, from 0
   * @return the identifiers, none without locations; under "rackaware-sort" -1 for a replica that
   *     has no location of its own
   * @throws IndexOutOfBoundsException if there is no such block
   */
  public int[] ids(int block) {
    check(block);
    return hasLocations() ? locations.ids(block) : new int[0];
  }

  /**
   * What else is said of the replicas of a block, see {@link BlockLocations#secondWord}.
   *
   * @param block the block, from 0
   * @return a word for each of {@link #ids}
   * @throws IndexOutOfBoundsException if there is no such block
   */
  public int[] secondWords(int block) {
    check(block);
    return hasLocations() ? locations.secondWords(block) : new int[0];
  }

  private void check(int block) {
    if (block < 0 || block >= blockCount) {
      throw new IndexOutOfBoundsException("block " + block + " of " + blockCount);
    }
  }

  /** {@return the range in words} */
  @Override
  public String toString() {
    return blockCount
        + " blocks of "
        + blockSize()
        + " bytes with "
        + replicaCount()
        + " replicas for "
        + length
        + " bytes at "
        + offset
        + (hasLocations() ? "" : " without locations");
  }
}
