package zorf.namenode.soak;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardCopyOption;

/** What tells the names of users, in an /etc of one's own, and the ways in which it fails. */
final class NameService {
  private static final Path PASSWD = Path.of("/etc/passwd");
  private static final Path ASIDE = Path.of("/etc/passwd.aside");
  private static final Path BROKEN = Path.of("/etc/passwd.broken");

  /** How it fails. */
  enum Failure {
    /** The users of the soak are unknown. */
    USERS_GONE,
    /** Whoever asks is told of an error. */
    FAILS,
    /** Whoever asks waits until it comes back. */
    HANGS
  }

  private NameService() {}

  static void fail(Failure how) throws IOException, InterruptedException {
    Files.copy(PASSWD, ASIDE, StandardCopyOption.REPLACE_EXISTING);
    switch (how) {
      case USERS_GONE ->
          Files.writeString(BROKEN, Files.readString(PASSWD).replaceAll("(?m)^u[0-9]+:.*\n", ""));
      case FAILS -> Files.createSymbolicLink(BROKEN, PASSWD); // once it is there it leads to itself
      case HANGS -> new ProcessBuilder("mkfifo", "-m", "644", BROKEN.toString()).start().waitFor();
    }
    Files.move(BROKEN, PASSWD, StandardCopyOption.ATOMIC_MOVE);
  }

  static void comeBack(Failure from) throws IOException, InterruptedException {
    if (from == Failure.HANGS) {
      Files.createLink(BROKEN, PASSWD);
    }
    Files.move(ASIDE, PASSWD, StandardCopyOption.ATOMIC_MOVE);
    if (from == Failure.HANGS) {
      // Those who wait for a writer of the FIFO get one, who has nothing to say.
      new ProcessBuilder("sh", "-c", ": <>" + BROKEN).start().waitFor();
      Files.delete(BROKEN);
    }
  }
}
