package zorf.namenode;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.net.ServerSocket;
import java.nio.ByteBuffer;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.Arrays;
import java.util.EnumSet;
import java.util.stream.Collectors;
import java.util.stream.Stream;
import org.apache.hadoop.crypto.CryptoProtocolVersion;
import org.apache.hadoop.fs.CreateFlag;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.hdfs.protocol.ClientProtocol;
import org.apache.hadoop.hdfs.protocol.DatanodeID;
import org.apache.hadoop.hdfs.protocol.DatanodeInfo;
import org.apache.hadoop.hdfs.protocol.ExtendedBlock;
import org.apache.hadoop.hdfs.protocol.HdfsFileStatus;
import org.apache.hadoop.hdfs.protocol.LocatedBlock;
import org.apache.hadoop.hdfs.server.namenode.NotReplicatedYetException;
import org.apache.hadoop.io.EnumSetWritable;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/** A client whose DataNode fails goes on with the block, there or elsewhere. */
class PipelineTest {
  @TempDir Path directory;
  private Served served;
  private ClientProtocol nameNode;

  @BeforeEach
  void serve() throws Exception {
    Path keys = Files.writeString(directory.resolve("keys"), "1 " + "00".repeat(32));
    Files.setPosixFilePermissions(keys, PosixFilePermissions.fromString("rw-------"));
    Path topology =
        Files.writeString(
            directory.resolve("topology"),
            "1 127.0.0.1:1 /rack\n2 127.0.0.2:2 /rack\n3 127.0.0.3:3 /rack\n4 127.0.0.4:4 /rack\n");
    served =
        Served.start(
            "--policy", "shared", "--key", keys.toString(), "--topology", topology.toString());
    nameNode = served.as("root").getClient().getNamenode();
  }

  @AfterEach
  void close() throws Exception {
    served.close();
  }

  private HdfsFileStatus create(String path, int replication) throws Exception {
    return nameNode.create(
        path,
        new FsPermission((short) 0644),
        "client",
        new EnumSetWritable<>(EnumSet.of(CreateFlag.CREATE)),
        false,
        (short) replication,
        1 << 20,
        CryptoProtocolVersion.supported(),
        null,
        null);
  }

  private LocatedBlock addBlock(String path, HdfsFileStatus file, DatanodeInfo... excluded)
      throws Exception {
    return nameNode.addBlock(path, "client", null, excluded, file.getFileId(), null, null);
  }

  /** {@return offset, size, rights and path in a token} */
  private static String signed(LocatedBlock block) {
    ByteBuffer token = ByteBuffer.wrap(block.getBlockToken().getIdentifier());
    String numbers = token.getLong(24) + "+" + token.getLong(32) + " rights " + token.getInt(56);
    token.position(60);
    int user = token.getShort();
    token.position(token.position() + user + 2); // the length of the path, too
    return numbers + " " + StandardCharsets.UTF_8.decode(token.slice());
  }

  @Test
  void aBlockIsWrittenAtAsManyDataNodesAsThereAreReplicas() throws Exception {
    HdfsFileStatus file = create("/a", 3);
    LocatedBlock block = addBlock("/a", file);
    assertEquals(3, block.getLocations().length);
    assertEquals(3, Stream.of(block.getLocations()).distinct().count());
    assertEquals("127.0.0.1:1", block.getLocations()[0].getXferAddr()); // the client's own
    LocatedBlock other = addBlock("/a", file, block.getLocations());
    assertEquals(
        "127.0.0.1 127.0.0.2 127.0.0.3 127.0.0.4",
        Stream.concat(Stream.of(block.getLocations()), Stream.of(other.getLocations()))
            .map(DatanodeInfo::getIpAddr)
            .sorted()
            .collect(Collectors.joining(" ")));
  }

  @Test
  void aWriterIsToldOfOneReplicaAndLooksForNoOthers() throws Exception {
    HdfsFileStatus file = create("/a", 3);
    assertEquals(1, file.getReplication());
    assertEquals(3, nameNode.getFileInfo("/a").getReplication());
    nameNode.complete("/a", "client", null, file.getFileId());
    EnumSetWritable<CreateFlag> append = new EnumSetWritable<>(EnumSet.of(CreateFlag.APPEND));
    assertEquals(1, nameNode.append("/a", "client", append).getFileStatus().getReplication());
  }

  @Test
  void aWriterThatGoesOnGetsAnotherTokenForTheSameBlock() throws Exception {
    HdfsFileStatus file = create("/a", 3);
    Files.writeString(served.root().resolve("a"), "12345");
    LocatedBlock block = addBlock("/a", file);
    Files.writeString(served.root().resolve("a"), "1234567");
    nameNode.rename2("/a", "/b");
    block.getBlock().setNumBytes(2);
    LocatedBlock again = nameNode.updateBlockForPipeline(block.getBlock(), "client");
    assertEquals("5+1048576 rights 3 /b", signed(again));
    assertEquals(block.getBlock().getBlockId(), again.getBlock().getBlockId());
    assertEquals(2, again.getBlock().getNumBytes());
    nameNode.updatePipeline(
        "client", block.getBlock(), again.getBlock(), new DatanodeID[0], new String[0]);
    assertEquals("[b]", Arrays.toString(served.root().toFile().list()));
  }

  @Test
  void aDataNodeThatIsRestartedIsWaitedForAndTriedOnceMore() throws Exception {
    int port;
    try (ServerSocket dataNode = new ServerSocket(0)) {
      port = dataNode.getLocalPort();
    }
    Path one = Files.writeString(directory.resolve("one"), "1 127.0.0.1:" + port + " /rack\n");
    try (Served other =
        Served.start("--key", directory.resolve("keys").toString(), "--topology", one.toString())) {
      nameNode = other.as("root").getClient().getNamenode();
      HdfsFileStatus file = create("/a", 3);
      DatanodeInfo[] excluded = addBlock("/a", file).getLocations();
      String text =
          "File /a could only be written to 0 of the 1 minReplication nodes. There are 1 datanode(s) "
              + "running and 1 node(s) are excluded in this operation.";
      for (int i = 0; i < 3; i++) {
        Refused.with(
            NotReplicatedYetException.class, text, () -> addBlock("/a", file, excluded));
      }
      try (ServerSocket back = new ServerSocket(port)) {
        assertEquals(1, addBlock("/a", file, excluded).getLocations().length);
        Refused.with(IOException.class, text, () -> addBlock("/a", file, excluded));
        Files.writeString(other.root().resolve("a"), "another block follows");
        assertEquals(1, addBlock("/a", file, excluded).getLocations().length);
      }
    }
  }

  @Test
  void aFileThatIsShorterThanItsWriterKnowsIsNotGoneOnWith() throws Exception {
    HdfsFileStatus file = create("/a", 1);
    ExtendedBlock block = addBlock("/a", file).getBlock();
    block.setNumBytes(5);
    Files.writeString(served.root().resolve("a"), "1234");
    Refused.with(
        NotReplicatedYetException.class,
        "Not replicated yet: /a has 4 bytes, its writer knows of more",
        () -> nameNode.addBlock("/a", "client", block, null, file.getFileId(), null, null));
    assertFalse(nameNode.complete("/a", "client", block, file.getFileId()));
    Files.writeString(served.root().resolve("a"), "12345");
    LocatedBlock next =
        nameNode.addBlock("/a", "client", block, null, file.getFileId(), null, null);
    assertEquals("5+1048576 rights 3 /a", signed(next));
    next.getBlock().setNumBytes(Long.MAX_VALUE);
    assertFalse(nameNode.complete("/a", "client", next.getBlock(), file.getFileId()));
    next.getBlock().setNumBytes(0);
    assertTrue(nameNode.complete("/a", "client", next.getBlock(), file.getFileId()));
  }

  @Test
  void whoIsNotTheWriterGetsNoToken() throws Exception {
    HdfsFileStatus file = create("/a", 1);
    ExtendedBlock block = addBlock("/a", file).getBlock();
    assertEquals(0, tokenSize(nameNode.updateBlockForPipeline(block, "other")));
    ClientProtocol nobody = served.as("nobody").getClient().getNamenode();
    assertEquals(0, tokenSize(nobody.updateBlockForPipeline(block, "client")));
    nameNode.delete("/a", false);
    assertEquals(0, tokenSize(nameNode.updateBlockForPipeline(block, "client")));
  }

  private static int tokenSize(LocatedBlock block) {
    return block.getBlockToken().getIdentifier().length;
  }
}
