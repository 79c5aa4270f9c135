package zorf.namenode;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.HashSet;
import java.util.Set;

/**
 * Who the calling thread is to the file system.
 *
 * @param uid the file-system user id
 * @param groups the file-system group id and all supplementary ones
 */
record Identity(long uid, Set<Long> groups) {
  private static final Path STATUS = Path.of("/proc/thread-self/status");

  /** Uid and Gid have the real, the effective, the saved and the file-system id. */
  private static final int FILE_SYSTEM_ID = 4;

  static Identity ofThread() throws IOException {
    long uid = -1;
    Set<Long> groups = new HashSet<>();
    for (String line : Files.readAllLines(STATUS)) {
      String[] words = line.split("\\s+");
      if (words[0].equals("Uid:")) {
        uid = Long.parseLong(words[FILE_SYSTEM_ID]);
      } else if (words[0].equals("Gid:")) {
        groups.add(Long.parseLong(words[FILE_SYSTEM_ID]));
      } else if (words[0].equals("Groups:")) {
        for (int i = 1; i < words.length; i++) {
          groups.add(Long.parseLong(words[i]));
        }
      }
    }
    return new Identity(uid, groups);
  }

  boolean isRoot() {
    return uid == 0;
  }
}
