package zorf.files;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.UncheckedIOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.file.FileSystemException;
import java.nio.file.Files;
import java.nio.file.NoSuchFileException;
import java.nio.file.Paths;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.Comparator;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.NoSuchElementException;
import java.util.OptionalInt;
import org.apache.hadoop.hdfs.server.namenode.ZORFNative;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockLocations;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockPieces;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockPolicy;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockRange;
import org.apache.hadoop.hdfs.server.namenode.zorf.FileType;
import org.apache.hadoop.hdfs.server.namenode.zorf.ZorfFiles;
import org.apache.hadoop.hdfs.server.namenode.zorf.ZorfFiles.AttributeMode;
import org.junit.jupiter.api.Test;

/** Blocks on the grid of the file's block size, whatever the policy and the range. */
class BlocksTest extends FilesFixture {
  /** The stand-in's own block size. */
  private static final long STANDIN_BLOCK = 4 * MEBI;

  /** Where a raw status record of x86-64 has st_blksize. */
  private static final int BLKSIZE_OFFSET = 56;

  private List<BlockRange> pieces(String path, long offset, long length) throws Exception {
    List<BlockRange> all = new ArrayList<>();
    for (BlockPieces pieces = files.blocks(path, offset, length); pieces.hasNext(); ) {
      all.add(pieces.next());
    }
    return all;
  }

  /** The blocks of all pieces, each as "offset+length", asserted to follow one another. */
  private List<String> blocks(String path, long offset, long length) throws Exception {
    List<String> blocks = new ArrayList<>();
    long next = -1;
    for (BlockRange piece : pieces(path, offset, length)) {
      for (int i = 0; i < piece.blockCount(); i++) {
        assertTrue(next == -1 || next == piece.blockOffset(i), piece::toString);
        next = piece.blockOffset(i) + piece.blockLength(i);
        blocks.add(piece.blockOffset(i) + "+" + piece.blockLength(i));
      }
      assertEquals(next, piece.offset() + piece.length());
    }
    return blocks;
  }

  private static List<String> grid(long first, int count, long size, long end) {
    List<String> blocks = new ArrayList<>();
    for (long i = first; i < first + count; i++) {
      blocks.add(i * size + "+" + Math.min(size, end - i * size));
    }
    return blocks;
  }

  @Test
  void blocksLieOnTheGridUnderEveryPolicy() throws Exception {
    long size = 50 * MEBI + 1;
    String path = sparse(size);
    files.setBlockGroupFactor(path, 512); // 2 MiB
    for (BlockPolicy policy : BlockPolicy.values()) {
      ZorfFiles.choosePolicy(policy, 128 * MEBI);
      long block = policy == BlockPolicy.LOCAL ? STANDIN_BLOCK : 2 * MEBI;
      int all = (int) ((size + block - 1) / block);
      assertEquals(block, ZORFNative.getBlockSizeNative(path, null), policy.text());
      assertEquals(grid(0, all, block, size), blocks(path, 0, Long.MAX_VALUE), policy.text());
      assertEquals(grid(0, all, block, size), blocks(path, 0, size), policy.text());
      // A range inside of one block, over two, and up to the last byte.
      long third = 2 * block;
      assertEquals(grid(2, 1, block, size), blocks(path, third + 5000, 10), policy.text());
      assertEquals(grid(2, 2, block, size), blocks(path, third + 1, block), policy.text());
      assertEquals(grid(2, 1, block, size), blocks(path, third, block), policy.text());
      assertEquals(grid(all - 1, 1, block, size), blocks(path, size - 1, 7), policy.text());
      assertEquals(grid(0, 0, block, size), blocks(path, size, 7), policy.text());
      assertEquals(grid(0, 0, block, size), blocks(path, 5, 0), policy.text());
      assertEquals(grid(0, 0, block, size), blocks(path, Long.MAX_VALUE, Long.MAX_VALUE));
    }
  }

  @Test
  void sortedLocationsAreThoseOfTheirBlock() throws Exception {
    String path = sparse(50 * MEBI);
    files.setBlockGroupFactor(path, 512);
    ZorfFiles.choosePolicy(BlockPolicy.LOCAL, 128 * MEBI);
    List<int[]> own = new ArrayList<>();
    for (BlockRange piece : pieces(path, 0, Long.MAX_VALUE)) {
      for (int i = 0; i < piece.blockCount(); i++) {
        own.add(piece.ids(i));
      }
    }
    ZorfFiles.choosePolicy(BlockPolicy.RACKAWARE_SORT, 128 * MEBI);
    List<BlockRange> pieces = pieces(path, 3 * MEBI + 1, Long.MAX_VALUE);
    assertTrue(pieces.size() > 2, "one reply would hide what is tried here");
    for (BlockRange piece : pieces) {
      assertTrue(piece.hasLocations());
      for (int i = 0; i < piece.blockCount(); i++) {
        int[] expected = own.get((int) (piece.blockOffset(i) / STANDIN_BLOCK)).clone();
        Arrays.sort(expected);
        assertArrayEquals(expected, piece.ids(i), piece::toString);
        assertArrayEquals(new int[] {512, 512}, piece.secondWords(i));
      }
    }
  }

  /** All locations of a file whose status record has the stand-in's block size. */
  private static BlockLocations locations(String path) {
    byte[] record = ZORFNative.getFileStatusNative(path, true);
    ByteBuffer.wrap(record).order(ByteOrder.nativeOrder()).putLong(BLKSIZE_OFFSET, STANDIN_BLOCK);
    return BlockLocations.decode(
        ZORFNative.getBlockLocationsNative(path, 0, Long.MAX_VALUE, record));
  }

  @Test
  void sortedEntriesNameTheLocationsWithTheMostBlocks() throws Exception {
    int group = 32;
    String path = sparse(20_002 * MEBI); // more than one reply, and a last block in part
    ZorfFiles.choosePolicy(BlockPolicy.LOCAL, group * STANDIN_BLOCK);
    BlockLocations local = locations(path);
    ZorfFiles.choosePolicy(BlockPolicy.RACKAWARE_SORT, group * STANDIN_BLOCK);
    BlockLocations sorted = locations(path);
    assertEquals(5001, local.blockCount());
    assertEquals(157, sorted.blockCount());
    for (int i = 0; i < sorted.blockCount(); i++) {
      Map<Integer, Integer> counts = new HashMap<>();
      for (int k = i * group; k < Math.min((i + 1) * group, local.blockCount()); k++) {
        for (int id : local.ids(k)) {
          counts.merge(id, 1, Integer::sum);
        }
      }
      List<Integer> most = new ArrayList<>(counts.values());
      most.sort(Comparator.reverseOrder());
      int[] ids = sorted.ids(i);
      int[] held = sorted.secondWords(i);
      assertEquals(counts.get(ids[0]), held[0], "block " + i);
      assertEquals(counts.get(ids[1]), held[1], "block " + i);
      assertEquals(most.subList(0, 2), Arrays.asList(held[0], held[1]), "block " + i);
    }
  }

  @Test
  void aBlockLongerThanAReplyIsOnePiece() throws Exception {
    ZorfFiles.choosePolicy(BlockPolicy.RACKAWARE_SORT, 32 * MEBI);
    String path = sparse(100 * MEBI);
    List<BlockRange> pieces = pieces(path, 0, Long.MAX_VALUE);
    assertEquals(4, pieces.size());
    assertEquals(
        "1 blocks of 33554432 bytes with 2 replicas for 4194304 bytes at 100663296",
        pieces.get(3).toString());
  }

  @Test
  void sharedBlocksHaveNoLocations() throws Exception {
    ZorfFiles.choosePolicy(BlockPolicy.SHARED, 4 * MEBI);
    BlockRange piece = files.blocks(sparse(9 * MEBI), 0, 1).next();
    assertEquals(
        "1 blocks of 4194304 bytes with 2 replicas for 4194304 bytes at 0 without locations",
        piece.toString());
    assertFalse(piece.hasLocations());
    assertArrayEquals(new int[0], piece.ids(0));
    assertArrayEquals(new int[0], piece.secondWords(0));
    assertEquals(
        "block 1 of 1",
        assertThrows(IndexOutOfBoundsException.class, () -> piece.ids(1)).getMessage());
  }

  @Test
  void aHugeFileComesInPiecesOfLittleMemory() throws Exception {
    ZorfFiles.choosePolicy(BlockPolicy.LOCAL, 4 * MEBI);
    long size = 4L << 40;
    BlockPieces pieces = files.blocks(sparse(size), 0, Long.MAX_VALUE);
    assertEquals(STANDIN_BLOCK, pieces.blockSize());
    assertEquals(2, pieces.replicaCount());
    for (int i = 0; i < 260; i++) {
      assertEquals(4032, pieces.next().blockCount()); // 64,512 bytes
    }
    assertEquals(256, pieces.stream().mapToInt(BlockRange::blockCount).sum());
    assertFalse(pieces.hasNext());
    BlockPieces end = files.blocks(sparse(size), size - 1, 1);
    assertEquals(size - STANDIN_BLOCK, end.next().offset());
    assertEquals(
        "end at " + size,
        assertThrows(NoSuchElementException.class, end::next)
            .getMessage()
            .replaceAll(".*(end)", "$1"));
  }

  @Test
  void shortFilesLieOnTheGridToo() throws Exception {
    for (long size : new long[] {1, UNIT, UNIT + 1, 5 * UNIT, MEBI, MEBI + 1}) {
      String path = sparse(size);
      files.setBlockGroupFactor(path, 2);
      for (BlockPolicy policy : BlockPolicy.values()) {
        ZorfFiles.choosePolicy(policy, 128 * MEBI);
        long block = policy == BlockPolicy.LOCAL ? STANDIN_BLOCK : 2 * UNIT;
        int all = (int) ((size + block - 1) / block);
        String what = policy.text() + " " + size;
        assertEquals(grid(0, all, block, size), blocks(path, 0, Long.MAX_VALUE), what);
        assertEquals(grid(all - 1, 1, block, size), blocks(path, size - 1, 1), what);
        assertEquals(Collections.emptyList(), blocks(path, size, 1), what);
        assertEquals(Collections.emptyList(), blocks(path, 0, 0), what);
        boolean located = policy != BlockPolicy.SHARED;
        for (BlockRange piece : pieces(path, 0, size)) {
          assertEquals(located ? 2 : 0, piece.ids(0).length, what);
        }
      }
    }
  }

  @Test
  void theOnlyBlockIsAskedForOnce() throws Exception {
    ZorfFiles.choosePolicy(BlockPolicy.RACKAWARE_SORT, 128 * MEBI);
    List<String> natives = new ArrayList<>();
    String path = sparse(10_000);
    ZorfFiles.observe((name, nanos) -> natives.add(name));
    try {
      BlockRange piece = files.blocks(path, 5, 10).next();
      assertEquals(
          "1 blocks of 134217728 bytes with 2 replicas for 10000 bytes at 0", piece.toString());
      assertEquals(3, piece.secondWords(0)[0]); // 10,000 bytes
    } finally {
      ZorfFiles.observe(null);
    }
    assertEquals(Arrays.asList("getFileStatusNative", "getBlockLocationsNative"), natives);
  }

  @Test
  void theStatusIsThatOfTheFile() throws Exception {
    String path = sparse(10_000);
    BlockPieces pieces = files.blocks(path, 0, 1);
    assertEquals(files.status(path).inode(), pieces.status().inode());
    assertEquals(10_000, pieces.status().size());
    assertEquals((long) Files.getAttribute(Paths.get(path), "unix:dev"), pieces.device());
    assertEquals(FileType.DIRECTORY, files.blocks(directory.toString(), 0, 1).status().type());
  }

  @Test
  void whatIsNoRegularFileHasNoBlocks() throws Exception {
    assertFalse(files.blocks(directory.toString(), 0, 10).hasNext());
    assertEquals(0, files.blocks(directory.toString(), 0, 10).blockSize());
    assertEquals(0, ZORFNative.getBlockSizeNative(directory.toString(), null));
    for (BlockPolicy policy : BlockPolicy.values()) {
      ZorfFiles.choosePolicy(policy, MEBI);
      assertFalse(files.blocks(file, 0, Long.MAX_VALUE).hasNext());
    }
  }

  @Test
  void negativeRangesAreRefused() {
    assertEquals("range of 1 bytes at -1", illegal(() -> files.blocks(file, -1, 1)));
    assertEquals("range of -1 bytes at 0", illegal(() -> files.blocks(file, 0, -1)));
    assertEquals(
        "block size 0", illegal(() -> ZorfFiles.choosePolicy(BlockPolicy.LOCAL, 0)));
  }

  @Test
  void aFileThatChangesBetweenPiecesIsAnError() throws Exception {
    ZorfFiles.choosePolicy(BlockPolicy.RACKAWARE, MEBI);
    String path = sparse(9 * MEBI);
    BlockPieces pieces = files.blocks(path, 0, Long.MAX_VALUE);
    files.setBlockGroupFactor(path, 512);
    long length = 9 * MEBI;
    int blocks = (int) (length / MEBI);
    assertFails(
        FileSystemException.class,
        path,
        "told of 5 blocks of 2097152 bytes with 2 replicas for "
            + length
            + " bytes at 0 instead of "
            + blocks
            + " blocks of 1048576 bytes",
        5,
        pieces::next);
    FileSystemException e =
        (FileSystemException)
            assertThrows(
                    UncheckedIOException.class, () -> pieces.stream().forEach(piece -> {}))
                .getCause();
    assertEquals(path, e.getFile());
  }

  @Test
  void theBlockGroupFactorIsSetAndRead() throws Exception {
    assertEquals(OptionalInt.empty(), files.blockGroupFactor(file));
    files.setBlockGroupFactor(file, 1024);
    assertEquals(OptionalInt.of(1024), files.blockGroupFactor(file));
    assertFails(
        FileSystemException.class,
        file,
        "Invalid argument: Invalid BGF(1025)",
        22,
        () -> files.setBlockGroupFactor(file, 1025));
    files.setAttribute(file, "user.BGF", new byte[] {1, 2, 3}, AttributeMode.REPLACE);
    assertFails(
        FileSystemException.class,
        file,
        "user.BGF has 3 bytes instead of 4",
        5,
        () -> files.blockGroupFactor(file));
    assertEquals(OptionalInt.empty(), files.blockGroupFactor(directory.toString()));
    assertFails(
        NoSuchFileException.class,
        file + "s",
        "No such file or directory",
        2,
        () -> files.setBlockGroupFactor(file + "s", 1));
  }

  @Test
  void aBlockSizeIsSetByTheFactorThatGivesIt() throws Exception {
    ZorfFiles.choosePolicy(BlockPolicy.RACKAWARE, 128 * MEBI);
    assertTrue(files.setBlockSize(file, MEBI));
    assertEquals(MEBI, files.blocks(file, 0, 1).blockSize());
    for (long size : new long[] {MEBI + 1, 1, 0, -MEBI, 1L << 50}) {
      assertFalse(files.setBlockSize(file, size), () -> Long.toString(size));
    }
    assertEquals(MEBI, files.blocks(file, 0, 1).blockSize());
  }

  @Test
  void theReplicationIsSetAndRead() throws Exception {
    ZorfFiles.choosePolicy(BlockPolicy.RACKAWARE, MEBI);
    String path = sparse(MEBI);
    files.setReplication(path, 3, true);
    assertEquals(3, files.blocks(path, 0, 1).replicaCount());
    assertEquals(3, files.blocks(path, 0, 1).next().ids(0).length);
    assertEquals("replication 0", illegal(() -> files.setReplication(path, 0, false)));
    assertEquals("replication 32768", illegal(() -> files.setReplication(path, 32768, false)));
    assertFails(
        FileSystemException.class,
        path,
        "Invalid argument: failed to set replication for " + path + " replication 100",
        22,
        () -> files.setReplication(path, 100, false));
  }
}
