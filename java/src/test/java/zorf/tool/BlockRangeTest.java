package zorf.tool;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static zorf.tool.BlockRanges.MEBI;

import java.util.ArrayList;
import java.util.List;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockLocations;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockPolicy;
import org.junit.jupiter.api.Test;

/** How the blocks of a range are asked for, and what is refused of the answers. */
class BlockRangeTest {
  private static String refused(BlockRange range) {
    return assertThrows(Failure.class, () -> range.each((block, piece, entry) -> {}))
        .getMessage();
  }

  @Test
  void aFileIsAskedAboutWithOneQuestion() {
    BlockRanges blocks = BlockRanges.alternating();
    List<Long> seen = new ArrayList<>();
    blocks
        .part("file", BlockPolicy.RACKAWARE, 10 * MEBI - 5, 0, 10 * MEBI - 5)
        .each((block, piece, entry) -> seen.add(block));
    assertEquals(List.of(0L, 1L, 2L, 3L, 4L, 5L, 6L, 7L, 8L, 9L), seen);
    assertEquals(List.of("0+10485755"), blocks.asked);
  }

  @Test
  void aRangeIsAskedAboutFromTheStartOfItsFirstBlock() {
    BlockRanges blocks = BlockRanges.alternating();
    BlockRange range = blocks.part("file", BlockPolicy.RACKAWARE, 10 * MEBI, MEBI + 7, MEBI);
    range.each((block, piece, entry) -> assertEquals(2, piece.replicaCount()));
    assertEquals(List.of("1048576+1048583"), blocks.asked);
    assertEquals(2, range.count());
    assertEquals(1, range.firstNumber());
    assertEquals("1 MiB at 1,048,583 B of 10 MiB", range.asked());
    assertEquals("2 MiB at 1 MiB of 10 MiB", range.shown());
  }

  @Test
  void aHugeFileIsAskedAboutInPieces() {
    BlockRanges blocks = BlockRanges.alternating();
    long[] count = {0};
    BlockRange range = blocks.whole("file", BlockPolicy.RACKAWARE, 300_000);
    range.each((block, piece, entry) -> {
      assertEquals(count[0]++, block);
      assertEquals(11 + block % 2, piece.id(entry, 0));
    });
    assertEquals(300_000, count[0]);
    long piece = (long) BlockRange.PIECE * MEBI;
    assertEquals(
        List.of(
            "0+" + piece,
            piece + "+" + piece,
            2 * piece + "+" + (300_000L * MEBI - 2 * piece)),
        blocks.asked);
  }

  @Test
  void blocksThatDoNotCoverTheRangeAreRefused() {
    BlockRanges tooFew = new BlockRanges(2, block -> new int[] {11, 21, 1, 1}) {
      @Override
      BlockLocations answer(long from, long bytes) {
        return stream(from, bytes, 0, 1);
      }
    };
    assertEquals(
        "file: rackaware gave 1 block of 1 MiB for 1 GiB at 0 B, which is 1,024 blocks of 1 MiB",
        refused(tooFew.whole("file", BlockPolicy.RACKAWARE, 1024)));
    tooFew.advice = "try again";
    assertEquals(
        "file: local gave 1 block of 1 MiB for 7 MiB at 3 MiB, which is 7 blocks of 1 MiB;"
            + " try again",
        refused(tooFew.part("file", BlockPolicy.LOCAL, 10 * MEBI, 3 * MEBI, 7 * MEBI)));
  }

  @Test
  void blocksThatAreCountedTogetherAreRefused() {
    // As many as there should be, but those of the second reply begin where the first ended.
    BlockRanges shifted =
        new BlockRanges(2, block -> new int[] {11, 21, 4, 4}) {
          @Override
          BlockLocations answer(long from, long bytes) {
            if (bytes <= MEBI) {
              return super.answer(from, bytes);
            }
            int blocks = (int) (bytes / MEBI);
            return new BlockRanges(
                    2,
                    block -> block < 50 ? new int[] {11, 21, 4, 4} : new int[] {21, 12, 4, 3})
                .stream(from, bytes, 0, blocks);
          }
        };
    assertEquals(
        "file: rackaware-sort gave [4, 3] file system blocks on [21, 12] for block 63 of 64 MiB"
            + " at 0 B, and alone [4, 4] file system blocks on [11, 21]",
        refused(shifted.whole("file", BlockPolicy.RACKAWARE_SORT, 64)));
    assertEquals(List.of("0+67108864", "66060288+1048576"), shifted.asked);
  }

  @Test
  void withoutLocationsItIsSaidWhy() {
    BlockRanges blocks = BlockRanges.alternating();
    BlockRange shared = blocks.whole("file", BlockPolicy.SHARED, 3);
    assertEquals(
        "no locations: \"shared\" tells only block size and replica count",
        shared.whyNoLocations());
    assertEquals("blocks of 1 MiB", shared.blocks());
    assertEquals("3 MiB", shared.shown());
    BlockRange empty = blocks.whole("file", BlockPolicy.RACKAWARE, 0);
    assertEquals("no locations: there are no blocks", empty.whyNoLocations());
    assertTrue(blocks.asked.isEmpty());
    BlockRange unplaced =
        new BlockRanges(0, block -> new int[0]).whole("file", BlockPolicy.RACKAWARE, 2);
    assertEquals("no locations: the file system names none", unplaced.whyNoLocations());
    assertEquals("", BlockRanges.many(BlockPolicy.RACKAWARE, 2).whyNoLocations());
  }
}
