package zorf.tool;

import java.util.Arrays;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockLocations;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockPolicy;

/**
 * The blocks of a range of a file, asked for in pieces that fit into memory however long the file
 * is. The blocks that come must cover what was asked for: if they don't, it is a {@link Failure}.
 */
final class BlockRange {
  /** Files of no more blocks are asked about as a NameNode asks, with one question. */
  static final int PIECE = 1 << 17;

  /** About how many blocks of a piece are asked for alone as well. */
  private static final int CHECKED = 16;

  private final String path;
  private final BlockPolicy policy;
  private final Blocks.Sizing sizing;
  private final long fileSize;
  private final long offset;
  private final long length;
  private final Locator locator;
  private int replicas = -1;

  /** Who knows where blocks lie. */
  interface Locator {
    BlockLocations locate(long offset, long length);

    /** What may help where the blocks don't cover the range; empty if nothing is known. */
    default String advice() {
      return "";
    }
  }

  /** Takes one block after the other. */
  interface Visitor {
    /**
     * Takes a block.
     *
     * @param block its place in the range, from 0
     * @param piece the locations that hold its entry
     * @param entry which entry that is
     */
    void block(long block, BlockLocations piece, int entry);
  }

  /** A range that lies in its file. */
  BlockRange(
      String path,
      BlockPolicy policy,
      Blocks.Sizing sizing,
      long fileSize,
      long offset,
      long length,
      Locator locator) {
    this.path = path;
    this.policy = policy;
    this.sizing = sizing;
    this.fileSize = fileSize;
    this.offset = offset;
    this.length = length;
    this.locator = locator;
  }

  String path() {
    return path;
  }

  BlockPolicy policy() {
    return policy;
  }

  long fileSize() {
    return fileSize;
  }

  /** Where the range that was asked for starts. */
  long offset() {
    return offset;
  }

  /** How long the range that was asked for is. */
  long length() {
    return length;
  }

  long blockSize() {
    return sizing.blockSize;
  }

  /** How many replicas the file is to have; its data may have fewer, or more. */
  int wantedReplicas() {
    return sizing.replicas;
  }

  /** The blocks that the sorting policy counts: how many of them make a whole block. */
  long unitsInBlock() {
    return Math.max(1, sizing.blockSize / Math.max(1, sizing.unit));
  }

  /** The bytes of a block that the sorting policy counts. */
  long unit() {
    return sizing.unit;
  }

  boolean hasLocations() {
    return count() > 0 && replicas() > 0;
  }

  /** How many blocks the range touches; none under a policy without locations. */
  long count() {
    if (policy == BlockPolicy.SHARED || length == 0 || sizing.blockSize == 0) {
      return 0;
    }
    return (offset + length - 1) / sizing.blockSize - offset / sizing.blockSize + 1;
  }

  /** Where a block starts: the first one may start before the range. */
  long offset(long block) {
    return (firstNumber() + block) * sizing.blockSize;
  }

  /** The first block's number in the file. */
  long firstNumber() {
    return sizing.blockSize == 0 ? 0 : offset / sizing.blockSize;
  }

  /** How much of the file lies in a block. */
  long bytes(long block) {
    return Math.min(sizing.blockSize, fileSize - offset(block));
  }

  /** The replicas of each block that was shown last, or else of the first one. */
  int replicas() {
    if (replicas < 0) {
      replicas = count() == 0 ? wantedReplicas() : ask(0, 1).replicaCount();
    }
    return replicas;
  }

  /** Shows all blocks. */
  void each(Visitor visitor) {
    each(0, count(), visitor);
  }

  /** Shows the blocks from one place in the range to before another. */
  void each(long from, long to, Visitor visitor) {
    for (long start = from; start < to; start += PIECE) {
      BlockLocations piece = ask(start, Math.min(to, start + PIECE));
      for (int entry = 0; entry < piece.blockCount(); entry++) {
        visitor.block(start + entry, piece, entry);
      }
    }
  }

  /**
   * Asks for whole blocks, from their start on: from where it is asked is where the sorting policy
   * begins to group.
   */
  private BlockLocations ask(long from, long to) {
    long start = offset(from);
    long end = Math.min(offset + length, offset(to - 1) + bytes(to - 1));
    BlockLocations piece = locator.locate(start, end - start);
    String asked = Sizes.human(end - start) + " at " + Sizes.offset(start);
    if (piece.blockCount() != to - from || piece.blockSize() != sizing.blockSize) {
      throw wrong(
          blocks(piece.blockCount(), piece.blockSize())
              + " for "
              + asked
              + ", which is "
              + blocks(to - from, sizing.blockSize));
    }
    if (policy == BlockPolicy.RACKAWARE_SORT) {
      checkCounts(piece, from, asked);
    }
    replicas = piece.replicaCount();
    return piece;
  }

  /**
   * The sorting policy begins a new block with each reply of the file system, whatever was left of
   * the one before. The number of blocks may come out right all the same, so some of them are asked
   * for alone as well.
   */
  private void checkCounts(BlockLocations piece, long from, String asked) {
    int count = piece.blockCount();
    int step = Math.max(1, count / CHECKED);
    for (int entry = count - 1; entry >= 0 && count > 1; entry -= step) {
      long start = offset(from + entry);
      long end = Math.min(offset + length, start + bytes(from + entry));
      String alone = held(locator.locate(start, end - start), 0);
      String together = held(piece, entry);
      if (!alone.equals(together)) {
        throw wrong(
            together
                + " for block "
                + Sizes.exact(firstNumber() + from + entry)
                + " of "
                + asked
                + ", and alone "
                + alone);
      }
    }
  }

  private static String held(BlockLocations piece, int entry) {
    if (piece.blockCount() <= entry) {
      return "nothing";
    }
    return Arrays.toString(piece.secondWords(entry))
        + " file system blocks on "
        + Arrays.toString(piece.ids(entry));
  }

  private Failure wrong(String gave) {
    String advice = locator.advice();
    return new Failure(
        path + ": " + policy.text() + " gave " + gave + (advice.isEmpty() ? "" : "; " + advice));
  }

  private static String blocks(long count, long size) {
    return Sizes.count(count, "block") + " of " + Sizes.human(size);
  }

  /** The range that was asked for, such as "100 MiB at 300 MiB of 1 GiB". */
  String asked() {
    return part(offset, length);
  }

  /** The part of the file that the blocks cover, which may be longer than what was asked for. */
  String shown() {
    if (count() == 0) {
      return asked();
    }
    long last = count() - 1;
    return part(offset(0), offset(last) + bytes(last) - offset(0));
  }

  private String part(long start, long partLength) {
    String whole = Sizes.human(fileSize);
    if (start == 0) {
      return partLength == fileSize
          ? whole
          : "the first " + Sizes.human(partLength) + " of " + whole;
    }
    return Sizes.human(partLength) + " at " + Sizes.offset(start) + " of " + whole;
  }

  /** Such as "8 blocks of 128 MiB"; without their number where there are no locations. */
  String blocks() {
    if (policy == BlockPolicy.SHARED) {
      return "blocks of " + Sizes.human(sizing.blockSize);
    }
    return count() == 0 ? "no blocks" : blocks(count(), sizing.blockSize);
  }

  /** Such as "2 replicas", or "2 of 3 replicas" where the data has other than it is to have. */
  String replicaText() {
    return (replicas() == wantedReplicas() ? "" : Sizes.exact(replicas()) + " of ")
        + Sizes.count(wantedReplicas(), "replica");
  }

  /** Such as "8 blocks of 128 MiB, 2 replicas (rackaware)". */
  String what() {
    return blocks() + ", " + replicaText() + " (" + policy.text() + ")";
  }

  /** Why there are no locations; empty if there are. */
  String whyNoLocations() {
    if (policy == BlockPolicy.SHARED) {
      return "no locations: \"shared\" tells only block size and replica count";
    }
    if (count() == 0) {
      return "no locations: there are no blocks";
    }
    return hasLocations() ? "" : "no locations: the file system names none";
  }
}
