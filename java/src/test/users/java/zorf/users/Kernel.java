package zorf.users;

import java.io.IOException;
import java.io.UncheckedIOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Paths;

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

  private static String identity(String thread) {
    String status;
    try {
      byte[] bytes = Files.readAllBytes(Paths.get("/proc/" + thread + "/status"));
      status = new String(bytes, StandardCharsets.ISO_8859_1);
    } catch (IOException e) {
      throw new UncheckedIOException(e);
    }
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
