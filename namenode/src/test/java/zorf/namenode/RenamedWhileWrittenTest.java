package zorf.namenode;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.FileNotFoundException;
import java.nio.ByteBuffer;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.EnumSet;
import org.apache.hadoop.crypto.CryptoProtocolVersion;
import org.apache.hadoop.fs.CreateFlag;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.hdfs.protocol.ClientProtocol;
import org.apache.hadoop.io.EnumSetWritable;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/** A client that writes a file goes on with the path that it began with. */
class RenamedWhileWrittenTest {
  @TempDir Path directory;
  private Served served;
  private ClientProtocol nameNode;

  @BeforeEach
  void serve() throws Exception {
    Path keys = Files.writeString(directory.resolve("keys"), "1 " + "00".repeat(32));
    Files.setPosixFilePermissions(keys, PosixFilePermissions.fromString("rw-------"));
    Path topology = Files.writeString(directory.resolve("topology"), "1 127.0.0.1 /rack\n");
    served =
        Served.start(
            "--policy", "shared", "--key", keys.toString(), "--topology", topology.toString());
    nameNode = served.as("root").getClient().getNamenode();
    nameNode.mkdirs("/d", new FsPermission((short) 0755), true);
  }

  @AfterEach
  void close() throws Exception {
    served.close();
  }

  private long create(String path) throws Exception {
    return nameNode
        .create(
            path,
            new FsPermission((short) 0644),
            "client",
            new EnumSetWritable<>(EnumSet.of(CreateFlag.CREATE)),
            false,
            (short) 1,
            1 << 20,
            CryptoProtocolVersion.supported(),
            null,
            null)
        .getFileId();
  }

  /** {@return the path in the token of the next block} */
  private String addBlock(String path, long file) throws Exception {
    ByteBuffer token =
        ByteBuffer.wrap(
            nameNode
                .addBlock(path, "client", null, null, file, null, null)
                .getBlockToken()
                .getIdentifier());
    token.position(60); // the user
    int user = token.getShort();
    token.position(token.position() + user + Short.BYTES);
    return StandardCharsets.UTF_8.decode(token.slice()).toString();
  }

  @Test
  void whatIsDeletedIsNotWrittenAnyMore() throws Exception {
    long file = create("/d/f");
    Path aside = Files.createLink(served.root().resolve("aside"), served.root().resolve("d/f"));
    assertFalse(nameNode.isFileClosed("/aside"));
    assertTrue(nameNode.delete("/d", true));
    assertTrue(nameNode.isFileClosed("/aside"));
    Files.delete(aside);
    assertFalse(nameNode.delete("/none/f", true));
    Refused.with(
        FileNotFoundException.class,
        "File does not exist: /d/f (inode " + file + ") Holder client",
        () -> addBlock("/d/f", file));
  }

  @Test
  void itIsWrittenOnWhereItIs() throws Exception {
    long file = create("/d/f");
    nameNode.rename2("/d/f", "/d/g");
    assertEquals("/d/g", addBlock("/d/f", file));
    nameNode.rename2("/d", "/e");
    assertEquals("/e/g", addBlock("/d/f", file));
    nameNode.fsync("/d/f", file, "client", 0);
    assertEquals(false, nameNode.isFileClosed("/e/g"));
    assertTrue(nameNode.complete("/d/f", "client", null, file));
    assertEquals(true, nameNode.isFileClosed("/e/g"));
  }

  @Test
  void anotherFileOfItsOldNameIsNotMistakenForIt() throws Exception {
    long file = create("/d/f");
    nameNode.rename2("/d/f", "/d/g");
    long other = create("/d/f");
    assertEquals("/d/g", addBlock("/d/f", file));
    assertEquals("/d/f", addBlock("/d/f", other));
  }

  @Test
  void linksOnTheWayMakeNoDifference() throws Exception {
    Files.createSymbolicLink(served.root().resolve("link"), Path.of("d"));
    long file = create("/link/f");
    nameNode.mkdirs("/d/e", new FsPermission((short) 0755), true);
    assertTrue(nameNode.rename("/d/f", "/link/e"));
    assertEquals("/d/e/f", addBlock("/link/f", file));
    nameNode.rename2("/link/e", "/e");
    assertEquals("/e/f", addBlock("/link/f", file));
    // The link itself is renamed, and not what it leads to.
    nameNode.rename2("/link", "/other");
    assertEquals("/e/f", addBlock("/link/f", file));
  }

  @Test
  void whatTheHostRenamesIsNotFound() throws Exception {
    long file = create("/d/f");
    Files.move(served.root().resolve("d/f"), served.root().resolve("d/g"));
    Refused.with(
        FileNotFoundException.class,
        "File does not exist: /d/f (inode " + file + ") Holder client",
        () -> nameNode.addBlock("/d/f", "client", null, null, file, null, null));
  }
}
