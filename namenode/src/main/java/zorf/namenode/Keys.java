package zorf.namenode;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.Path;
import java.util.HexFormat;
import java.util.Map;
import java.util.concurrent.TimeUnit;
import org.slf4j.Logger;
import org.slf4j.LoggerFactory;

/**
 * The keys that sign block tokens, from a file that the DataNodes share: lines of an id and 64
 * hexadecimal digits. The last one signs. The file is read again when it has changed.
 */
final class Keys {
  private static final Logger LOG = LoggerFactory.getLogger(Keys.class);
  private static final long LOOK_NANOS = TimeUnit.SECONDS.toNanos(5);

  /**
   * A key.
   *
   * @param id its number in the file
   * @param secret 32 bytes
   */
  record Key(int id, byte[] secret) {}

  private record Version(long modified, long inode, long size) {}

  private final Path file;
  private Version version;
  private Key signing;
  private long looked;

  /**
   * Reads a file.
   *
   * @throws BadFile if it is not as it should be
   */
  Keys(Path file) throws IOException {
    this.file = file;
    version = version();
    signing = read();
    looked = System.nanoTime();
  }

  /** {@return the key that signs now} */
  synchronized Key signing() {
    long now = System.nanoTime();
    if (now - looked > LOOK_NANOS) {
      looked = now;
      readAgain();
    }
    return signing;
  }

  /** Takes a new version of the file, if there is one and it is good. */
  synchronized void readAgain() {
    try {
      Version found = version();
      if (!found.equals(version)) {
        version = found;
        signing = read();
      }
    } catch (IOException e) {
      String why = e instanceof BadFile ? e.getMessage() : e.toString();
      LOG.warn("the keys stay as they were: {}", why);
    }
  }

  private Version version() throws IOException {
    Map<String, Object> attributes =
        Files.readAttributes(file, "unix:lastModifiedTime,ino,size,mode", LinkOption.NOFOLLOW_LINKS);
    int mode = (int) attributes.get("mode");
    if ((mode & 0170000) != 0100000) {
      throw new BadFile(file, "is no regular file");
    }
    if ((mode & 077) != 0) {
      throw new BadFile(file, "must be its owner's alone: chmod 600");
    }
    return new Version(
        ((java.nio.file.attribute.FileTime) attributes.get("lastModifiedTime")).to(
            TimeUnit.NANOSECONDS),
        (long) attributes.get("ino"),
        (long) attributes.get("size"));
  }

  private Key read() throws IOException {
    Key last = null;
    int number = 0;
    for (String line : Files.readAllLines(file, StandardCharsets.UTF_8)) {
      number++;
      String statement = line.replaceFirst("#.*", "").trim();
      if (statement.isEmpty()) {
        continue;
      }
      String[] words = statement.split("\\s+");
      if (words.length != 2
          || !words[0].matches("[1-9][0-9]{0,8}")
          || !words[1].matches("[0-9A-Fa-f]{64}")) {
        throw new BadFile(file, number, "a key reads 'ID HEX', with 64 hexadecimal digits");
      }
      last = new Key(Integer.parseInt(words[0]), HexFormat.of().parseHex(words[1]));
    }
    if (last == null) {
      throw new BadFile(file, "there is no key");
    }
    return last;
  }
}
