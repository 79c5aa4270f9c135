package zorf.users;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.nio.file.StandardCopyOption;
import java.util.stream.Collectors;

/** The users of tests/identity/with_scratch_users.sh, and changes that can be taken back. */
final class Accounts {
  static final String MANY_GROUPS = "zorf_many";
  static final String ROOT_GROUP = "zorf_root_group";
  static final String HIGH_IDS = "zorf_high";
  static final String NOBODY = "fsuid 65534 fsgid 65534 groups [65534]";

  private Accounts() {}

  /** Users 1 to 8, each in two groups beside its own. */
  static String user(int number) {
    return "zorf_user" + number;
  }

  /** What {@link Kernel#identity} says of a thread that acts as one of them. */
  static String identity(int number) {
    int id = 60100 + number;
    int group = 62000 + 10 * number;
    return String.format(
        "fsuid %d fsgid %d groups [%d, %d, %d]", id, id, id, group, group + 1);
  }

  /** A file of /etc, in the mount namespace of the tests, put back at the end. */
  static final class Change implements AutoCloseable {
    private final Path file;
    private final Path kept;

    Change(String name) throws IOException {
      file = Paths.get("/etc", name);
      kept = Paths.get("/etc", name + ".kept");
      Files.copy(file, kept);
    }

    void write(String text) throws IOException {
      Path next = Paths.get(file + ".next");
      Files.write(next, text.getBytes(StandardCharsets.UTF_8));
      Files.move(next, file, StandardCopyOption.REPLACE_EXISTING);
    }

    void append(String line) throws IOException {
      write(text() + line + "\n");
    }

    void removeLine(String start) throws IOException {
      write(
          Files.readAllLines(kept).stream()
              .filter(line -> !line.startsWith(start))
              .collect(Collectors.joining("\n", "", "\n")));
    }

    /** Makes it a link to itself: whoever opens it gets ELOOP. */
    void makeUnreadable() throws IOException {
      Files.delete(file);
      Files.createSymbolicLink(file, file);
    }

    private String text() throws IOException {
      return new String(Files.readAllBytes(kept), StandardCharsets.UTF_8);
    }

    @Override
    public void close() throws IOException {
      Files.move(kept, file, StandardCopyOption.REPLACE_EXISTING);
    }
  }
}
