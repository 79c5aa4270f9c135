package zorf.users;

import java.io.File;
import java.io.IOException;
import java.io.UncheckedIOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Paths;
import java.util.ArrayList;
import java.util.List;

/** What the kernel says of a thread, in one line. */
final class Kernel {
  private Kernel() {}

  /** "fsuid 60101 fsgid 60101 groups [60101, 62010]" of the calling thread. */
  static String identity() {
    return identity("thread-self");
  }

  /** That of the process's first thread, which never switches. */
  static String processIdentity() {
    return identity("self");
  }

  /** Threads of this process that have another identity than its first one, Java's or not. */
  static List<String> switchedThreads() throws IOException {
    List<String> switched = new ArrayList<>();
    for (String thread : new File("/proc/self/task").list()) {
      String status;
      try {
        status = status("self/task/" + thread);
      } catch (IOException e) {
        if (Files.exists(Paths.get("/proc/self/task", thread))) {
          throw e;
        }
        continue; // it has ended
      }
      if (!identityIn(status).equals(processIdentity())) {
        switched.add(line(status, "Name") + " " + identityIn(status));
      }
    }
    return switched;
  }

  private static String identity(String thread) {
    try {
      return identityIn(status(thread));
    } catch (IOException e) {
      throw new UncheckedIOException(e);
    }
  }

  private static String status(String thread) throws IOException {
    byte[] bytes = Files.readAllBytes(Paths.get("/proc/" + thread + "/status"));
    return new String(bytes, StandardCharsets.ISO_8859_1);
  }

  private static String identityIn(String status) {
    return "fsuid "
        + line(status, "Uid").split("\\s+")[3]
        + " fsgid "
        + line(status, "Gid").split("\\s+")[3]
        + " groups ["
        + line(status, "Groups").replaceAll("\\s+", ", ")
        + "]";
  }

  private static String line(String status, String name) {
    int start = status.indexOf("\n" + name + ":") + name.length() + 2;
    return status.substring(start, status.indexOf('\n', start)).trim();
  }
}
