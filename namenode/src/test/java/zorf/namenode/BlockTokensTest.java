package zorf.namenode;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.ByteBuffer;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import javax.crypto.Mac;
import javax.crypto.spec.SecretKeySpec;
import org.apache.hadoop.hdfs.protocol.LocatedBlock;
import org.apache.hadoop.hdfs.security.token.block.BlockTokenIdentifier;
import org.apache.hadoop.security.token.Token;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

class BlockTokensTest {
  private static final byte[] SECRET = new byte[32];

  @TempDir Path directory;

  @Test
  void aTokenSaysWhichBytesOfWhichFileAndWhoMayReadThem() throws Exception {
    Path keys = Files.writeString(directory.resolve("keys"), "5 " + "00".repeat(32));
    Files.setPosixFilePermissions(keys, PosixFilePermissions.fromString("rw-------"));
    try (Served served = Served.start("--key", keys.toString(), "--block-size", "8K")) {
      Path file = served.root().resolve("\u00e9");
      Files.write(file, new byte[10_000]);
      LocatedBlock block =
          served.as("daemon").getClient().getNamenode()
              .getBlockLocations("/\u00e9", 9_000, 1).get(0);
      Token<BlockTokenIdentifier> token = block.getBlockToken();
      assertEquals("HDFS_BLOCK_TOKEN", token.getKind().toString());
      assertEquals("", token.getService().toString());
      Mac mac = Mac.getInstance("HmacSHA256");
      mac.init(new SecretKeySpec(SECRET, "HmacSHA256"));
      assertArrayEquals(mac.doFinal(token.getIdentifier()), token.getPassword());
      ByteBuffer identifier = ByteBuffer.wrap(token.getIdentifier());
      assertEquals("ZBT1", text(identifier, 4));
      assertEquals(5, identifier.getInt());
      long left = identifier.getLong() - System.currentTimeMillis();
      assertTrue(left > 35_900_000 && left <= 36_000_000, left + " ms");
      assertEquals(Files.getAttribute(file, "unix:ino"), identifier.getLong());
      assertEquals(8192, identifier.getLong());
      assertEquals(1808, identifier.getLong());
      assertEquals(block.getBlock().getBlockId(), identifier.getLong());
      assertEquals(block.getBlock().getGenerationStamp(), identifier.getLong());
      assertEquals(BlockTokens.READ, identifier.getInt());
      assertEquals("daemon", text(identifier, identifier.getShort()));
      assertEquals("/\u00e9", text(identifier, identifier.getShort()));
      assertEquals(0, identifier.remaining());
    }
  }

  private static String text(ByteBuffer from, int length) {
    byte[] bytes = new byte[length];
    from.get(bytes);
    return new String(bytes, StandardCharsets.UTF_8);
  }
}
