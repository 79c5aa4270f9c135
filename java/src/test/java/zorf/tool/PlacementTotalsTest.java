package zorf.tool;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static zorf.tool.BlockRanges.MEBI;

import java.io.ByteArrayOutputStream;
import java.io.PrintStream;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockLocations;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockPolicy;
import org.junit.jupiter.api.Test;

/** The placement of several files summed up. */
class PlacementTotalsTest {
  private static final Topology RACKS = Topology.parse("racks", "rack 1: 11 12 13\nrack 2: 21\n");

  /** Five blocks whose last is half a block; the third has one replica, the fourth two of one. */
  private static BlockRange damaged() {
    int[][] ids = {{11, 21}, {12, 21}, {11, -1}, {11, 11}, {11, 99}};
    return new BlockRanges(
            2, block -> new int[] {ids[(int) block][0], ids[(int) block][1], 1, 1})
        .part("damaged", BlockPolicy.RACKAWARE, 4 * MEBI + MEBI / 2, 0, 4 * MEBI + MEBI / 2);
  }

  private static BlockRange sound() {
    return BlockRanges.alternating()
        .part("sound", BlockPolicy.RACKAWARE, 1000L * MEBI, 500L * MEBI, 4 * MEBI);
  }

  private static String text(PlacementTotals totals, int rows) {
    ByteArrayOutputStream out = new ByteArrayOutputStream();
    new TotalsListing(totals, BlockPolicy.RACKAWARE).print(new PrintStream(out), rows);
    return out.toString();
  }

  @Test
  void filesRacksLocationsAndWhatIsUnderReplicatedAreTables() {
    PlacementTotals totals = new PlacementTotals(RACKS);
    totals.add(damaged());
    totals.add(sound());
    String all =
        String.join(
            "\n",
            "2 files, 8.5 MiB: 9 blocks, 2 under-replicated (rackaware)",
            "",
            "blocks      of   replicas   under-replicated   file",
            "     5   1 MiB          2                  2   damaged",
            "     4   1 MiB          2                  0   sound",
            "",
            "rack   locations   blocks     bytes   share",
            "   1           3        9   9.5 MiB   59.4%",
            "   2           1        6     6 MiB   37.5%",
            "none           1        1   512 KiB    3.1%",
            "",
            "location   rack   blocks     bytes   share",
            "      11      1        6   6.5 MiB   40.6%",
            "      12      1        3     3 MiB   18.8%",
            "      13      1        0       0 B    0.0%",
            "      21      2        6     6 MiB   37.5%",
            "      99   none        1   512 KiB    3.1%",
            "",
            "under-replicated   offset   bytes   replicas   file",
            "   blocks 2 to 3    2 MiB   2 MiB   1 of 2     damaged",
            "");
    assertEquals(all, text(totals, 0));
    String between =
        "      13      1        0       0 B    0.0%\n      21      2        6     6 MiB   37.5%\n";
    assertEquals(all.replace(between, "     ...\n"), text(totals, 3));
  }

  @Test
  void theSameIsAnObject() {
    PlacementTotals totals = new PlacementTotals(RACKS);
    totals.add(damaged());
    assertEquals(
        "{\"policy\": \"rackaware\", \"files\": [{\"path\": \"damaged\", \"size\": 4718592,"
            + " \"offset\": 0, \"length\": 4718592, \"blockSize\": 1048576, \"blocks\": 5,"
            + " \"replicas\": 2, \"wantedReplicas\": 2, \"underReplicated\": 2}], \"racks\": ["
            + "{\"rack\": 1, \"locations\": 3, \"blocks\": 5, \"bytes\": 5767168}, "
            + "{\"rack\": 2, \"locations\": 1, \"blocks\": 2, \"bytes\": 2097152}, "
            + "{\"rack\": null, \"locations\": 1, \"blocks\": 1, \"bytes\": 524288}], "
            + "\"locations\": ["
            + "{\"location\": 11, \"rack\": 1, \"blocks\": 4, \"bytes\": 4718592}, "
            + "{\"location\": 12, \"rack\": 1, \"blocks\": 1, \"bytes\": 1048576}, "
            + "{\"location\": 13, \"rack\": 1, \"blocks\": 0, \"bytes\": 0}, "
            + "{\"location\": 21, \"rack\": 2, \"blocks\": 2, \"bytes\": 2097152}, "
            + "{\"location\": 99, \"rack\": null, \"blocks\": 1, \"bytes\": 524288}], "
            + "\"underReplicated\": [{\"path\": \"damaged\", \"offset\": 2097152,"
            + " \"length\": 2097152, \"blocks\": 2, \"locations\": 1, \"wantedReplicas\": 2}]}",
        new TotalsListing(totals, BlockPolicy.RACKAWARE).json());
  }

  @Test
  void dataThatHasFewerReplicasThanItsFileIsToHaveIsUnderReplicated() {
    PlacementTotals totals = new PlacementTotals(Topology.unknown());
    totals.add(
        BlockRanges.alternating()
            .part("file", BlockPolicy.LOCAL, 300_000L * MEBI, 0, 300_000L * MEBI, 3));
    assertEquals(300_000, totals.underReplicatedBlocks());
    assertEquals(1, totals.underReplicated().size());
    assertEquals(300_000, totals.underReplicated().get(0).blocks);
    assertEquals(2, totals.underReplicated().get(0).locations);
    String[] lines = text(totals, 20).split("\n");
    assertEquals("300,000   1 MiB     2 of 3            300,000   file", lines[3]);
    assertEquals(
        "blocks 0 to 299,999      0 B   293.0 GiB   2 of 3     file", lines[lines.length - 1]);
    assertEquals("location    blocks       bytes   share", lines[5]);
  }

  @Test
  void ofSortedBlocksTheCountsAreSummed() {
    PlacementTotals totals = new PlacementTotals(RACKS);
    totals.add(BlockRanges.of(BlockPolicy.RACKAWARE_SORT, 2, 11, 21, 4, 1, 11, 12, 2, 1));
    assertEquals(6L * MEBI / 4, totals.locations().get(11).bytes);
    assertEquals(MEBI / 4, totals.locations().get(21).bytes);
    assertEquals(2, totals.racks().get(1).blocks);
    assertEquals(0, totals.underReplicatedBlocks());
  }

  @Test
  void aFileThatFailsAddsNothing() {
    PlacementTotals totals = new PlacementTotals(RACKS);
    totals.add(sound());
    String before = text(totals, 0);
    BlockRange shrinking =
        new BlockRanges(2, block -> new int[] {11, 21, 1, 1}) {
          @Override
          BlockLocations answer(long from, long bytes) {
            return from == 0 ? super.answer(from, bytes) : stream(from, bytes, 0, 1);
          }
        }.whole("shrinking", BlockPolicy.RACKAWARE, 200_000);
    assertThrows(Failure.class, () -> totals.add(shrinking));
    assertEquals(before, text(totals, 0));
  }
}
