package zorf.tool;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;

import java.io.ByteArrayOutputStream;
import java.io.PrintStream;
import java.util.List;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockPolicy;
import org.junit.jupiter.api.Test;

/** The blocks of a file as a table and as JSON. */
class BlockListingTest {
  @Test
  void ofAHugeFileATableAsksForWhatItShows() {
    BlockRanges blocks = BlockRanges.alternating();
    BlockRange range =
        blocks.part("file", BlockPolicy.LOCAL, Long.MAX_VALUE, 0, Long.MAX_VALUE);
    Table table = new BlockListing(range).table(4);
    ByteArrayOutputStream out = new ByteArrayOutputStream();
    table.print(new PrintStream(out));
    assertEquals(
        String.join(
            "\n",
            "            block                  offset   locations",
            "                0                     0 B     11   21",
            "                1                   1 MiB     12   21",
            "                2                   2 MiB     11   21",
            "              ...",
            "8,796,093,022,207   8,796,093,022,207 MiB     12   21",
            ""),
        out.toString());
    assertEquals(List.of("0+4194304", "9223372036853727232+1048575"), blocks.asked);
    assertEquals(
        "file: 8,796,093,022,208 blocks are too many for a table: try --rows, --offset and"
            + " --length, or --json",
        assertThrows(Failure.class, () -> new BlockListing(range).table(0)).getMessage());
  }

  @Test
  void jsonIsPrintedAsItComes() {
    ByteArrayOutputStream out = new ByteArrayOutputStream();
    BlockRange range = BlockRanges.of(BlockPolicy.RACKAWARE_SORT, 2, 11, 21, 3, 2, 12, -1, 4, -1);
    new BlockListing(range).printJson(new PrintStream(out));
    assertEquals(
        "{\"path\": \"file\", \"size\": 2097152, \"policy\": \"rackaware-sort\", \"offset\": 0,"
            + " \"length\": 2097152, \"blockSize\": 1048576, \"replicas\": 2, \"blocks\": ["
            + "{\"offset\": 0, \"locations\": [11, 21], \"fileSystemBlocks\": [3, 2]}, "
            + "{\"offset\": 1048576, \"locations\": [12, -1], \"fileSystemBlocks\": [4, -1]}]}\n",
        out.toString());
  }
}
