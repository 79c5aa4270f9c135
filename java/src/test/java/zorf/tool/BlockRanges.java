package zorf.tool;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockLocations;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockPolicy;

/** Ranges of files that are not there: their blocks of 1 MiB, and what was asked about them. */
class BlockRanges {
  static final int MEBI = 1 << 20;

  /** The ranges that were asked for, as "offset+length". */
  final List<String> asked = new ArrayList<>();
  /** What it says where blocks don't cover the range. */
  String advice = "";

  private final int replicas;
  private final Words words;

  /** Knows the words of an entry: identifiers, then second words. */
  interface Words {
    int[] of(long block);
  }

  BlockRanges(int replicas, Words words) {
    this.replicas = replicas;
    this.words = words;
  }

  /** The words of all entries one after the other. */
  static BlockRange of(BlockPolicy policy, int replicas, int... words) {
    int entry = 2 * replicas;
    return new BlockRanges(
            replicas,
            block -> Arrays.copyOfRange(
                words, (int) block * entry, (int) (block + 1) * entry))
        .whole("file", policy, words.length / entry);
  }

  /** Blocks by turns on location 11 or 12, and always on 21. */
  static BlockRange many(BlockPolicy policy, long blocks) {
    return alternating().whole("file", policy, blocks);
  }

  static BlockRanges alternating() {
    return new BlockRanges(2, block -> new int[] {11 + (int) (block % 2), 21, 1, 1});
  }

  BlockRange whole(String path, BlockPolicy policy, long blocks) {
    return part(path, policy, blocks * MEBI, 0, blocks * MEBI);
  }

  BlockRange part(String path, BlockPolicy policy, long fileSize, long offset, long length) {
    return part(path, policy, fileSize, offset, length, replicas);
  }

  /** Of a file that is to have so many replicas. */
  BlockRange part(
      String path, BlockPolicy policy, long fileSize, long offset, long length, int wanted) {
    BlockRange.Locator locator =
        new BlockRange.Locator() {
          @Override
          public BlockLocations locate(long from, long bytes) {
            asked.add(from + "+" + bytes);
            return answer(from, bytes);
          }

          @Override
          public String advice() {
            return advice;
          }
        };
    Blocks.Sizing sizing = new Blocks.Sizing(MEBI, MEBI / 4, wanted);
    return new BlockRange(path, policy, sizing, fileSize, offset, length, locator);
  }

  /** What the library answers; a subclass may be mistaken. */
  BlockLocations answer(long from, long bytes) {
    long first = from / MEBI;
    return stream(from, bytes, first, (int) ((from + bytes - 1) / MEBI - first + 1));
  }

  BlockLocations stream(long from, long bytes, long first, int blocks) {
    ByteBuffer stream =
        ByteBuffer.allocate(32 + 8 * replicas * blocks).order(ByteOrder.nativeOrder());
    stream.putLong(from).putLong(bytes).putLong(MEBI).putInt(blocks).putInt(replicas);
    for (int block = 0; block < blocks; block++) {
      for (int word : words.of(first + block)) {
        stream.putInt(word);
      }
    }
    return BlockLocations.decode(stream.array());
  }
}
