package zorf.namenode;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.FileNotFoundException;
import java.io.RandomAccessFile;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.HashSet;
import java.util.Set;
import java.util.TreeSet;
import java.util.stream.Collectors;
import java.util.stream.IntStream;
import org.apache.hadoop.HadoopIllegalArgumentException;
import org.apache.hadoop.hdfs.HdfsConfiguration;
import org.apache.hadoop.hdfs.protocol.ClientProtocol;
import org.apache.hadoop.hdfs.protocol.DatanodeInfo;
import org.apache.hadoop.hdfs.protocol.LocatedBlock;
import org.apache.hadoop.hdfs.protocol.LocatedBlocks;
import org.apache.hadoop.security.AccessControlException;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

class BlocksTest {
  private static final long MEBI = 1L << 20;

  @TempDir Path directory;
  private Served served;
  private ClientProtocol nameNode;

  private void serve(String policy, String... own) throws Exception {
    Path topology = directory.resolve("topology");
    // The stand-in's racks; this host is the locations that are named.
    Set<String> ownLocations = new HashSet<>(Arrays.asList(own));
    Files.writeString(
        topology,
        IntStream.range(0, 24)
            .mapToObj(i -> (i / 6 + 1) + "" + (i % 6 + 1))
            .map(id -> id + " 127.0.0." + (ownLocations.contains(id) ? "1" : id) + " /rack" + id.charAt(0))
            .collect(Collectors.joining("\n"))
            .replaceAll("127.0.0.1 /rack\\d", "127.0.0.1 /rack1"));
    served =
        Served.start(
            "--policy", policy, "--block-size", "8M", "--topology", topology.toString());
    nameNode = served.as("root").getClient().getNamenode();
  }

  @AfterEach
  void close() throws Exception {
    served.close();
  }

  private void sparse(String name, long size) throws Exception {
    try (RandomAccessFile file =
        new RandomAccessFile(served.root().resolve(name).toFile(), "rw")) {
      file.setLength(size);
    }
  }

  private static String offsets(LocatedBlocks blocks) {
    return blocks.getLocatedBlocks().stream()
        .map(block -> block.getStartOffset() / MEBI + "+" + block.getBlockSize() / MEBI)
        .collect(Collectors.joining(" "));
  }

  @Test
  void aRangeIsWidenedToTheGridAndCutAtTheEnd() throws Exception {
    serve("rackaware-sort");
    sparse("a", 30 * MEBI);
    assertEquals("0+8 8+8 16+8 24+6", offsets(nameNode.getBlockLocations("/a", 0, 30 * MEBI)));
    assertEquals("8+8", offsets(nameNode.getBlockLocations("/a", 9 * MEBI, 1)));
    assertEquals("8+8 16+8", offsets(nameNode.getBlockLocations("/a", 9 * MEBI, 8 * MEBI)));
    assertEquals(
        "16+8 24+6", offsets(nameNode.getBlockLocations("/a", 23 * MEBI, Long.MAX_VALUE)));
    assertEquals("", offsets(nameNode.getBlockLocations("/a", 30 * MEBI, 1)));
    assertEquals("", offsets(nameNode.getBlockLocations("/a", Long.MAX_VALUE, Long.MAX_VALUE)));
    assertEquals("", offsets(nameNode.getBlockLocations("/a", 0, 0)));
    LocatedBlocks blocks = nameNode.getBlockLocations("/a", 0, 1);
    assertEquals(30 * MEBI, blocks.getFileLength());
    assertEquals(24 * MEBI, blocks.getLastLocatedBlock().getStartOffset());
  }

  @Test
  void aRangeThatMakesNoSenseIsRefused() throws Exception {
    serve("shared");
    sparse("a", MEBI);
    Refused.with(
        HadoopIllegalArgumentException.class,
        "Negative offset is not supported. File: /a",
        () -> nameNode.getBlockLocations("/a", -1, 1));
    Refused.with(
        HadoopIllegalArgumentException.class,
        "Negative length is not supported. File: /a",
        () -> nameNode.getBlockLocations("/a", 0, -1));
    Refused.with(
        FileNotFoundException.class,
        "File does not exist: /none",
        () -> nameNode.getBlockLocations("/none", 0, 1));
    Refused.with(
        FileNotFoundException.class,
        "Path is not a file: /",
        () -> nameNode.getBlockLocations("/", 0, 1));
  }

  @Test
  void anEmptyFileHasNoBlocks() throws Exception {
    serve("rackaware");
    sparse("a", 0);
    LocatedBlocks blocks = nameNode.getBlockLocations("/a", 0, 1);
    assertEquals(0, blocks.locatedBlockCount());
    assertEquals(null, blocks.getLastLocatedBlock());
  }

  @Test
  void idsAreThoseOfTheInodeAndDifferByBlock() throws Exception {
    serve("rackaware");
    sparse("a", 20 * MEBI);
    long inode = (long) Files.getAttribute(served.root().resolve("a"), "unix:ino");
    assertEquals(
        IntStream.range(0, 3)
            .mapToObj(i -> Long.toString(((inode & (1L << 38) - 1) << 24) + i))
            .collect(Collectors.joining(" ")),
        nameNode.getBlockLocations("/a", 0, 20 * MEBI).getLocatedBlocks().stream()
            .map(block -> Long.toString(block.getBlock().getBlockId()))
            .collect(Collectors.joining(" ")));
    assertEquals(
        "BP-zorf-1", nameNode.getBlockLocations("/a", 0, 1).get(0).getBlock().getBlockPoolId());
  }

  @Test
  void underSharedTheClientsHostComesFirstAndAllHostsAreUsed() throws Exception {
    serve("shared", "13");
    sparse("a", 400 * MEBI);
    Set<String> second = new TreeSet<>();
    for (LocatedBlock block :
        nameNode.getBlockLocations("/a", 0, 400 * MEBI).getLocatedBlocks()) {
      assertEquals("127.0.0.1", block.getLocations()[0].getIpAddr());
      assertEquals(2, block.getLocations().length);
      second.add(block.getLocations()[1].getIpAddr());
    }
    assertEquals(true, second.size() > 10, second.toString());
  }

  @Test
  void theClientsHostAndItsRackComeFirstUnderRackaware() throws Exception {
    serve("rackaware", "11", "12", "13", "14", "15", "16");
    sparse("a", 80 * MEBI);
    nameNode.setReplication("/a", (short) 4);
    for (LocatedBlock block : nameNode.getBlockLocations("/a", 0, 80 * MEBI).getLocatedBlocks()) {
      DatanodeInfo[] hosts = block.getLocations();
      // One of the four racks is this host's.
      assertEquals("127.0.0.1", hosts[0].getIpAddr(), Arrays.toString(hosts));
      assertEquals(4, hosts.length);
    }
  }

  @Test
  void theRackOfTheClientsHostComesNextUnderRackawareAndFirstWithoutTheHost() throws Exception {
    serve("rackaware", "11"); // in /rack1, with 12 to 16
    sparse("a", 400 * MEBI);
    nameNode.setReplication("/a", (short) 8); // two in each of four racks
    int withHost = 0;
    int withoutHost = 0;
    for (LocatedBlock block : nameNode.getBlockLocations("/a", 0, 400 * MEBI).getLocatedBlocks()) {
      DatanodeInfo[] hosts = block.getLocations();
      String racks =
          Arrays.stream(hosts).map(DatanodeInfo::getNetworkLocation).collect(Collectors.joining());
      assertEquals("/rack1", hosts[0].getNetworkLocation(), racks);
      int others = racks.replaceFirst("(/rack1)+", "").indexOf("/rack1");
      assertEquals(-1, others, racks);
      boolean own = Arrays.stream(hosts).anyMatch(host -> host.getIpAddr().equals("127.0.0.1"));
      if (own) {
        assertEquals("127.0.0.1", hosts[0].getIpAddr(), racks);
        withHost++;
      } else {
        withoutHost++;
      }
    }
    assertEquals(50, withHost + withoutHost);
    assertTrue(withHost > 0 && withoutHost > 0, withHost + " with the host");
  }

  @Test
  void neighboursWithEqualLocationsAreOneBlockUnderLocal() throws Exception {
    serve("local");
    sparse("a", 64 * MEBI);
    String told = offsets(nameNode.getBlockLocations("/a", 0, 64 * MEBI));
    long covered = 0;
    for (String each : told.split(" ")) {
      String[] range = each.split("\\+");
      assertEquals(covered, Long.parseLong(range[0]), told);
      covered += Long.parseLong(range[1]);
      assertEquals(true, Long.parseLong(range[1]) <= 8, told);
    }
    assertEquals(64, covered);
  }

  @Test
  void aLocationWithoutAHostIsLeftOut() throws Exception {
    Path topology = Files.writeString(directory.resolve("topology"), "999 127.0.0.9 rack\n");
    served = Served.start("--topology", topology.toString());
    nameNode = served.as("root").getClient().getNamenode();
    sparse("a", MEBI);
    assertEquals(0, nameNode.getBlockLocations("/a", 0, 1).get(0).getLocations().length);
  }

  @Test
  void whoMayNotReadAFileGetsNoTokensForIt() throws Exception {
    serve("rackaware");
    sparse("a", MEBI);
    Files.setPosixFilePermissions(served.root().resolve("a"), Set.of());
    ClientProtocol daemon = served.as("daemon").getClient().getNamenode();
    String text =
        "Permission denied: user=daemon, access=READ, inode=\"/a\":root:root:----------";
    Refused.with(
        AccessControlException.class, text, () -> daemon.getBlockLocations("/a", 0, 1));
    Refused.with(AccessControlException.class, text, () -> daemon.getLocatedFileInfo("/a", true));
    // Where it lies is no secret.
    assertEquals(1, daemon.getLocatedFileInfo("/a", false).getLocatedBlocks().locatedBlockCount());
    assertEquals(
        1,
        ((org.apache.hadoop.hdfs.protocol.HdfsLocatedFileStatus)
                daemon.getListing("/", new byte[0], true).getPartialListing()[0])
            .getLocatedBlocks()
            .locatedBlockCount());
  }

  @Test
  void aFileWithoutHostsForItCannotBeWritten() throws Exception {
    served = Served.start(new HdfsConfiguration());
    nameNode = served.as("root").getClient().getNamenode();
    sparse("a", 0);
    Refused.with(
        java.io.IOException.class,
        "File /a could only be written to 0 of the 1 minReplication nodes. There are 0 "
            + "datanode(s) running and 0 node(s) are excluded in this operation.",
        () -> nameNode.addBlock("/a", "client", null, null, 0, null, null));
  }
}
