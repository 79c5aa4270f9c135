package zorf.namenode;

import java.io.ByteArrayOutputStream;
import java.io.DataOutputStream;
import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.security.GeneralSecurityException;
import javax.crypto.Mac;
import javax.crypto.spec.SecretKeySpec;
import org.apache.hadoop.hdfs.security.token.block.BlockTokenIdentifier;
import org.apache.hadoop.io.Text;
import org.apache.hadoop.security.token.Token;

/**
 * Signs what a client may do with a block. Clients hand a token to the DataNode unread, and that needs
 * nothing else to know which bytes of which file are meant.
 *
 * <p>The identifier is big-endian: "ZBT1", key id (4 bytes), expiry in milliseconds (8), inode (8),
 * offset of the block in the file (8), length that it may have (8), block id (8), generation stamp
 * (8), rights (4), then user and path, each as 2 bytes of length and UTF-8. The password is its
 * HMAC-SHA256.
 */
final class BlockTokens {
  static final int READ = 1;
  static final int WRITE = 2;

  private static final Text KIND = new Text("HDFS_BLOCK_TOKEN");
  private static final byte[] MAGIC = "ZBT1".getBytes(StandardCharsets.US_ASCII);
  private static final String ALGORITHM = "HmacSHA256";

  private final Keys keys;
  private final long lifetimeMillis;

  /**
   * Takes keys.
   *
   * @param keys sign; null for tokens that say nothing
   * @param lifetimeMillis of a token
   */
  BlockTokens(Keys keys, long lifetimeMillis) {
    this.keys = keys;
    this.lifetimeMillis = lifetimeMillis;
  }

  /**
   * Signs.
   *
   * @param entry the file
   * @param offset where the block starts in the file
   * @param length how many bytes it has, or may have
   * @param blockId the block's id
   * @param rights {@link #READ}, {@link #WRITE}
   */
  Token<BlockTokenIdentifier> sign(
      Entry entry, long offset, long length, long blockId, int rights) throws IOException {
    if (keys == null) {
      return new Token<>();
    }
    Keys.Key key = keys.signing();
    ByteArrayOutputStream bytes = new ByteArrayOutputStream(128);
    DataOutputStream out = new DataOutputStream(bytes);
    out.write(MAGIC);
    out.writeInt(key.id());
    out.writeLong(System.currentTimeMillis() + lifetimeMillis);
    out.writeLong(entry.inode());
    out.writeLong(offset);
    out.writeLong(length);
    out.writeLong(blockId);
    out.writeLong(Blocks.generationStamp(entry));
    out.writeInt(rights);
    writeText(out, Caller.current().user());
    writeText(out, entry.path());
    byte[] identifier = bytes.toByteArray();
    return new Token<>(identifier, password(key, identifier), KIND, new Text());
  }

  private static void writeText(DataOutputStream out, String text) throws IOException {
    byte[] bytes = text.getBytes(StandardCharsets.UTF_8);
    if (bytes.length > 0xFFFF) {
      throw new IOException("too long for a block token: " + text.substring(0, 40) + "...");
    }
    out.writeShort(bytes.length);
    out.write(bytes);
  }

  private static byte[] password(Keys.Key key, byte[] identifier) {
    try {
      Mac mac = Mac.getInstance(ALGORITHM);
      mac.init(new SecretKeySpec(key.secret(), ALGORITHM));
      return mac.doFinal(identifier);
    } catch (GeneralSecurityException e) {
      throw new IllegalStateException(e); // every Java has it
    }
  }
}
