package zorf.tool;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Paths;
import java.util.ArrayList;
import java.util.LinkedHashSet;
import java.util.List;
import java.util.Set;
import java.util.concurrent.Callable;
import org.apache.hadoop.hdfs.server.namenode.ZORFNative;
import zorf.tool.ProcessFacts.Capability;

/** Whose rights the calling thread has on the file system. */
final class Identity {
  private final long uid;
  private final Set<Long> gids;

  Identity(long uid, Set<Long> gids) {
    this.uid = uid;
    this.gids = gids;
  }

  long uid() {
    return uid;
  }

  /** The group and the supplementary groups. */
  Set<Long> gids() {
    return gids;
  }

  /** What the kernel checks the calling thread's file accesses against. */
  static Identity current() throws IOException {
    long uid = -1;
    Set<Long> gids = new LinkedHashSet<>();
    for (String line : lines("/proc/thread-self/status")) {
      String[] words = line.split("\\s+");
      if (words[0].equals("Uid:")) {
        uid = Long.parseLong(words[4]);
      } else if (words[0].equals("Gid:")) {
        gids.add(Long.parseLong(words[4]));
      } else if (words[0].equals("Groups:")) {
        for (int i = 1; i < words.length; i++) {
          gids.add(Long.parseLong(words[i]));
        }
      }
    }
    return new Identity(uid, gids);
  }

  private static List<String> lines(String file) throws IOException {
    // As bytes: the process may have a name in any encoding.
    String text =
        new String(Files.readAllBytes(Paths.get(file)), StandardCharsets.ISO_8859_1);
    List<String> lines = new ArrayList<>();
    for (String line : text.split("\n")) {
      lines.add(line.trim());
    }
    return lines;
  }

  private static Failure refused(String user) {
    return new Failure(
        "can't act as " + user + ": this process may not switch users (run as root, or with"
            + " CAP_SETUID and CAP_SETGID)");
  }

  /**
   * Does something as a user, named or numbered, or as the process itself if null. The library
   * would take nobody for an unknown user and go on when the process may not switch; here both are
   * failures, for an answer about somebody else would mislead.
   */
  static <T> T as(String user, Callable<T> action) throws Exception {
    Library.load();
    if (user == null) {
      return action.call();
    }
    String name = Names.userName(user);
    long uid = Names.uid(name);
    long have = ProcessFacts.capabilities();
    // Without the right to change groups the library would go on with the user but not the groups.
    if (uid != current().uid()
        && !(Capability.CAP_SETUID.isIn(have) && Capability.CAP_SETGID.isIn(have))) {
      throw refused(user);
    }
    long handle = ZORFNative.setFsUid(name);
    try {
      if (current().uid() != uid) {
        throw refused(user);
      }
      return action.call();
    } finally {
      ZORFNative.setFsUid(handle);
    }
  }
}
