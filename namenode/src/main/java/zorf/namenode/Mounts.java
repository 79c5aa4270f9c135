package zorf.namenode;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;

/** What the kernel says of mounts. */
final class Mounts {
  private static final Path TABLE = Path.of("/proc/self/mountinfo");
  /** Of a line: which directory of its file system is mounted, and where. */
  private static final int MOUNTED = 3;

  private static final int PLACE = 4;

  private Mounts() {}

  /** {@return whether a whole file system is mounted at a directory, and not a part of one} */
  static boolean isWhole(Path directory) throws IOException {
    boolean whole = false;
    for (String line : Files.readAllLines(TABLE, StandardCharsets.ISO_8859_1)) {
      String[] words = line.split(" ");
      // A later mount hides an earlier one. A name with a blank or a byte beyond ASCII is not found,
      // which costs time and nothing else.
      if (words[PLACE].equals(directory.toString())) {
        whole = words[MOUNTED].equals("/");
      }
    }
    return whole;
  }
}
