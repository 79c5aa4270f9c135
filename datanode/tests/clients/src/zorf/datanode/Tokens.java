package zorf.datanode;

import java.io.ByteArrayOutputStream;
import java.io.DataOutputStream;
import java.io.File;
import java.io.IOException;
import java.nio.file.Files;
import java.security.GeneralSecurityException;
import java.util.HexFormat;
import java.util.List;
import javax.crypto.Mac;
import javax.crypto.spec.SecretKeySpec;
import org.apache.hadoop.hdfs.security.token.block.BlockTokenIdentifier;
import org.apache.hadoop.io.Text;
import org.apache.hadoop.security.token.Token;

/** Signs with the last key of a key file. */
final class Tokens {
  static final int READ = 1;
  static final int WRITE = 2;

  final String pool = "BP-zorf-1";
  private final int keyId;
  private final byte[] key;

  Tokens(File keys) throws IOException {
    List<String> lines = Files.readAllLines(keys.toPath());
    String[] last = lines.get(lines.size() - 1).trim().split("\\s+");
    keyId = Integer.parseInt(last[0]);
    key = HexFormat.of().parseHex(last[1]);
  }

  Token<BlockTokenIdentifier> sign(
      long inode, long offset, long length, long blockId, int rights, String user, String path)
      throws IOException {
    ByteArrayOutputStream bytes = new ByteArrayOutputStream();
    DataOutputStream out = new DataOutputStream(bytes);
    out.writeBytes("ZBT1");
    out.writeInt(keyId);
    out.writeLong(System.currentTimeMillis() + 600_000);
    out.writeLong(inode);
    out.writeLong(offset);
    out.writeLong(length);
    out.writeLong(blockId);
    out.writeLong(1);
    out.writeInt(rights);
    // As writeUTF has it, but for characters that no test uses.
    out.writeUTF(user);
    out.writeUTF(path);
    byte[] identifier = bytes.toByteArray();
    try {
      Mac mac = Mac.getInstance("HmacSHA256");
      mac.init(new SecretKeySpec(key, "HmacSHA256"));
      return new Token<>(
          identifier, mac.doFinal(identifier), new Text("HDFS_BLOCK_TOKEN"), new Text());
    } catch (GeneralSecurityException e) {
      throw new IOException(e);
    }
  }
}
