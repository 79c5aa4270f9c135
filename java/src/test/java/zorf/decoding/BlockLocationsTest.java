package zorf.decoding;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.util.Arrays;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockLocations;
import org.apache.hadoop.hdfs.server.namenode.zorf.LocatedFileStatus;
import org.apache.hadoop.hdfs.server.namenode.zorf.StatusLayout;
import org.junit.jupiter.api.Test;

class BlockLocationsTest {
  private static final int ACL_FLAG = 0x1000;

  private final StatusLayout layout = new StatusLayout(Bytes.table());

  private static byte[] concat(byte[] left, byte... right) {
    byte[] both = Arrays.copyOf(left, left.length + right.length);
    System.arraycopy(right, 0, both, left.length, right.length);
    return both;
  }

  private static byte[] shortBytes(int value) {
    return ByteBuffer.allocate(2).order(ByteOrder.nativeOrder()).putShort((short) value).array();
  }

  private static String rejection(byte[] stream) {
    return assertThrows(IllegalArgumentException.class, () -> BlockLocations.decode(stream))
        .getMessage();
  }

  @Test
  void readsHeaderAndEntries() {
    byte[] stream =
        new Bytes()
            .longs(5, 1000, 512)
            .ints(2, 3)
            .ints(5, 7, 9, 4, 3, 2)
            .ints(8, -1, -1, 1, -1, -1)
            .array();
    BlockLocations locations = BlockLocations.decode(stream);
    assertEquals(5, locations.offset());
    assertEquals(1000, locations.length());
    assertEquals(512, locations.blockSize());
    assertEquals(2, locations.blockCount());
    assertEquals(3, locations.replicaCount());
    assertArrayEquals(new int[] {5, 7, 9}, locations.ids(0));
    assertArrayEquals(new int[] {4, 3, 2}, locations.secondWords(0));
    assertArrayEquals(new int[] {8, -1, -1}, locations.ids(1));
    assertArrayEquals(new int[] {1, -1, -1}, locations.secondWords(1));
    assertEquals(9, locations.id(0, 2));
    assertEquals(1, locations.secondWord(1, 0));
    assertEquals(
        "2 blocks of 512 bytes with 3 replicas for 1000 bytes at 5", locations.toString());
  }

  @Test
  void readsAHeaderWithoutEntries() {
    BlockLocations locations = BlockLocations.decode(Bytes.locations(-1, 1 << 27, 0, 2).array());
    assertEquals(0, locations.blockCount());
    assertEquals(2, locations.replicaCount());
    assertEquals(
        "0 blocks of 134217728 bytes with 2 replicas for 18446744073709551615 bytes at 0",
        locations.toString());
    assertThrows(IndexOutOfBoundsException.class, () -> locations.ids(0));
  }

  @Test
  void readsEntriesWithoutReplicas() {
    BlockLocations locations = BlockLocations.decode(Bytes.locations(9, 3, 3, 0).array());
    assertEquals(3, locations.blockCount());
    assertEquals(0, locations.ids(2).length);
    assertEquals(0, locations.secondWords(2).length);
    assertThrows(IndexOutOfBoundsException.class, () -> locations.id(0, 0));
    assertThrows(IndexOutOfBoundsException.class, () -> locations.ids(3));
  }

  @Test
  void aReplicaNeverReachesIntoItsNeighbours() {
    BlockLocations locations =
        BlockLocations.decode(Bytes.locations(2, 1, 2, 1).ints(1, 2, 3, 4).array());
    for (int[] index : new int[][] {{-1, 0}, {2, 0}, {0, -1}, {0, 1}, {1, 1}}) {
      assertThrows(IndexOutOfBoundsException.class, () -> locations.id(index[0], index[1]));
      assertThrows(IndexOutOfBoundsException.class, () -> locations.secondWord(index[0], index[1]));
    }
    assertEquals(
        "replica 1 of 1",
        assertThrows(IndexOutOfBoundsException.class, () -> locations.id(0, 1)).getMessage());
  }

  @Test
  void rejectsStreamsThatDisagreeWithTheirCounts() {
    assertEquals("block location stream of 31 bytes", rejection(new byte[31]));
    assertEquals(
        "block location stream with -1 blocks of 2 replicas",
        rejection(Bytes.locations(1, 1, -1, 2).array()));
    assertEquals(
        "block location stream with 1 blocks of -2 replicas",
        rejection(Bytes.locations(1, 1, 1, -2).array()));
    assertEquals(
        "8 bytes for 2 blocks of 1 replicas",
        rejection(Bytes.locations(1, 1, 2, 1).ints(1, 2).array()));
    assertEquals(
        "9 bytes for 1 blocks of 1 replicas",
        rejection(Bytes.locations(1, 1, 1, 1).ints(1, 2).raw((byte) 0).array()));
    assertEquals(
        "8 bytes for 1 blocks of 0 replicas",
        rejection(Bytes.locations(1, 1, 1, 0).ints(1, 2).array()));
    assertEquals(
        "0 bytes for 2147483647 blocks of 2147483647 replicas",
        rejection(Bytes.locations(1, 1, Integer.MAX_VALUE, Integer.MAX_VALUE).array()));
    // The product 8 * 2^30 * 2^30 is beyond a signed 64-bit number.
    assertEquals(
        "0 bytes for 1073741824 blocks of 1073741824 replicas",
        rejection(Bytes.locations(1, 1, 0x40000000, 0x40000000).array()));
  }

  @Test
  void withoutEntriesTheReplicaCountIsTakenAsItIs() {
    BlockLocations locations = BlockLocations.decode(Bytes.locations(0, 10, 0, -2).array());
    assertEquals(-2, locations.replicaCount());
    assertEquals(0, locations.blockCount());
    assertThrows(IndexOutOfBoundsException.class, () -> locations.ids(0));
    assertEquals(
        "8 bytes for 0 blocks of -2 replicas",
        rejection(Bytes.locations(1, 1, 0, -2).ints(1, 2).array()));
  }

  @Test
  void aMillionEntriesTakeMilliseconds() {
    int blocks = 1_000_000;
    ByteBuffer stream = ByteBuffer.allocate(32 + 16 * blocks).order(ByteOrder.nativeOrder());
    stream.putLong(0).putLong(blocks).putLong(1).putInt(blocks).putInt(2);
    for (int i = 0; i < blocks; i++) {
      stream.putInt(i).putInt(-i).putInt(7).putInt(8);
    }
    long start = System.nanoTime();
    BlockLocations locations = BlockLocations.decode(stream.array());
    long sum = 0;
    for (int i = 0; i < blocks; i++) {
      sum += locations.id(i, 0) + locations.id(i, 1) + locations.secondWord(i, 1);
    }
    long milliseconds = (System.nanoTime() - start) / 1_000_000;
    assertEquals(8L * blocks, sum);
    assertTrue(milliseconds < 2000, milliseconds + " ms");
  }

  @Test
  void aRegularFileHasStatusAndLocations() {
    byte[] locations = Bytes.locations(7, 4, 1, 1).ints(3, 0).array();
    byte[] bytes = concat(Bytes.status(0100600, 7), locations);
    LocatedFileStatus file = LocatedFileStatus.decode(layout, bytes, false);
    assertEquals(7, file.status().size());
    assertFalse(file.hasAcl());
    assertEquals(3, file.locations().get().id(0, 0));
  }

  @Test
  void thePermissionValueStandsBetweenStatusAndLocations() {
    byte[] locations = Bytes.locations(7, 4, 1, 1).ints(3, 0).array();
    byte[] status = Bytes.status(0100600, 7);
    byte[] marked = concat(concat(status, shortBytes(ACL_FLAG)), locations);
    byte[] unmarked = concat(concat(status, shortBytes(0)), locations);
    assertTrue(LocatedFileStatus.decode(layout, marked, true).hasAcl());
    assertEquals(3, LocatedFileStatus.decode(layout, marked, true).locations().get().id(0, 0));
    assertFalse(LocatedFileStatus.decode(layout, unmarked, true).hasAcl());
  }

  @Test
  void anythingElseHasAStatusOnly() {
    byte[] status = Bytes.status(0040755, 4096);
    assertFalse(LocatedFileStatus.decode(layout, status, false).locations().isPresent());
    byte[] marked = concat(status, shortBytes(ACL_FLAG));
    assertTrue(LocatedFileStatus.decode(layout, marked, true).hasAcl());
    assertFalse(LocatedFileStatus.decode(layout, marked, true).locations().isPresent());
  }

  @Test
  void rejectsLocatedStatusOfAnotherLength() {
    byte[] directory = Bytes.status(0040755, 4096);
    byte[] file = Bytes.status(0100600, 7);
    for (byte[] bytes : new byte[][] {new byte[143], concat(directory, (byte) 0), file}) {
      assertThrows(
          IllegalArgumentException.class, () -> LocatedFileStatus.decode(layout, bytes, false));
    }
    for (byte[] bytes : new byte[][] {directory, concat(directory, (byte) 0), file}) {
      assertThrows(
          IllegalArgumentException.class, () -> LocatedFileStatus.decode(layout, bytes, true));
    }
  }
}
