package zorf.tool;

import org.apache.hadoop.hdfs.server.namenode.ZORFNative;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockLocations;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockPolicy;
import org.apache.hadoop.hdfs.server.namenode.zorf.FileType;

/** Questions about blocks. The policy is one of the process, so each question sets its own. */
final class Blocks {
  /** What a NameNode takes for files without a block group factor unless it is told otherwise. */
  static final long DEFAULT_BLOCK_SIZE = 128L << 20;

  /** No block group factor gives this many blocks of one byte. */
  private static final long NO_FACTOR = 1L << 40;

  private Blocks() {}

  /** The sizes that a file's blocks have. */
  static final class Sizing {
    final long blockSize;
    /** What the sorting policy counts: the file system block, by the status of the file. */
    final long unit;
    /** How many replicas the file is to have. */
    final int replicas;

    Sizing(long blockSize, long unit, int replicas) {
      this.blockSize = blockSize;
      this.unit = unit;
      this.replicas = replicas;
    }
  }

  static void choose(BlockPolicy policy, long defaultBlockSize) {
    int chosen = ZORFNative.getBlkCmd(policy.bytes(), defaultBlockSize);
    if (chosen != policy.ordinal()) {
      throw new IllegalStateException("policy " + policy.text() + " gave " + chosen);
    }
  }

  private static BlockLocations locate(String path, long offset, long length, byte[] record) {
    return BlockLocations.decode(ZORFNative.getBlockLocationsNative(path, offset, length, record));
  }

  /** The blocks of a range that lies in the file; the record decides how they are counted. */
  static BlockRange range(
      String path, BlockPolicy policy, long defaultSize, long offset, long length, byte[] record) {
    BlockLocations told = sizes(path, defaultSize, record);
    boolean local = policy == BlockPolicy.LOCAL;
    long blockSize = local ? fileSystemBlockSize(path) : told.blockSize();
    if (blockSize < 0) {
      throw new Failure(
          path + ": no file has a block of " + Long.toUnsignedString(blockSize) + " bytes");
    }
    long unit = RawStatus.blockSize(record);
    BlockRange.Locator locator =
        new BlockRange.Locator() {
          @Override
          public BlockLocations locate(long from, long bytes) {
            choose(policy, defaultSize);
            return Blocks.locate(path, from, bytes, record);
          }

          @Override
          public String advice() {
            // The other policies don't count by what the status says.
            long own = policy == BlockPolicy.RACKAWARE_SORT ? fileSystemBlockSize(path) : unit;
            return own == unit || own == 0
                ? ""
                : "the file's status says blocks of "
                    + Sizes.human(unit)
                    + " and the file system "
                    + Sizes.human(own)
                    + ": locate --as-on-zorf counts by the latter";
          }
        };
    long size = Library.layout().decode(record).size();
    Sizing sizing = new Sizing(blockSize, unit, told.replicaCount());
    return new BlockRange(path, policy, sizing, size, offset, length, locator);
  }

  static void requireRegular(String path, byte[] record) {
    if (Library.layout().decode(record).type() != FileType.REGULAR) {
      throw new Failure(path + ": only regular files have blocks");
    }
  }

  /** The raw status of a file that can have blocks. */
  static byte[] regular(String path) {
    byte[] record = ZORFNative.getFileStatusNative(path, true);
    requireRegular(path, record);
    return record;
  }

  /** The block size that the file system itself uses for a file. */
  static long fileSystemBlockSize(String path) {
    choose(BlockPolicy.LOCAL, 0);
    return ZORFNative.getBlockSizeNative(path, null);
  }

  /** A file's HDFS block size and replica count, and nothing else of its blocks. */
  static BlockLocations sizes(String path, long defaultSize, byte[] record) {
    choose(BlockPolicy.SHARED, defaultSize);
    return locate(path, 0, 0, record);
  }

  /**
   * A file's block group factor, 0 if it has none. There is no native for it, and its attribute
   * takes the right to read the file. But an HDFS block is as many file system blocks as the factor
   * says, so with file system blocks of one byte its size is the factor, or the default where there
   * is none.
   */
  static long groupFactor(String path, byte[] record) {
    long size = sizes(path, NO_FACTOR, RawStatus.withBlockSize(record, 1)).blockSize();
    return size == NO_FACTOR ? 0 : size;
  }
}
