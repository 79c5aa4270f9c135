package zorf.namenode;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assumptions.assumeTrue;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardCopyOption;
import java.util.List;

/** What names users, for one service alone: an /etc of its own that a test may change under it. */
final class OwnEtc {
  private final Path copy;

  /** Copies the machine's into a directory. */
  OwnEtc(Path scratch) throws Exception {
    copy = Files.createDirectory(scratch.resolve("etc"));
    assumeTrue(run("unshare", "--mount", "--propagation", "private", "true") == 0, "no own mounts");
    assertEquals(0, run("cp", "-a", "/etc/.", copy.toString()));
  }

  /** {@return the command to run a service by} */
  List<String> prefix() {
    String mount = "mount --bind " + copy + " /etc && exec \"$@\"";
    return List.of("unshare", "--mount", "--propagation", "private", "sh", "-c", mount, "sh");
  }

  private static int run(String... command) throws Exception {
    return new ProcessBuilder(command).inheritIO().start().waitFor();
  }

  private Path file(String name) {
    return copy.resolve(name);
  }

  /** Puts another text in the place of a file's. */
  void edit(String name, String regex, String replacement) throws IOException {
    String text = Files.readString(file(name));
    Path next = Files.writeString(file(name + ".next"), text.replaceAll(regex, replacement));
    Files.move(next, file(name), StandardCopyOption.ATOMIC_MOVE);
  }

  /** Has everybody wait who asks about a user, until {@link #heal}. */
  void hang() throws Exception {
    Files.move(file("passwd"), file("passwd.aside"));
    assertEquals(0, run("mkfifo", "-m", "644", file("passwd").toString()));
  }

  /** Has everybody told of an error who asks about a user, until {@link #heal}. */
  void fail() throws Exception {
    Files.move(file("passwd"), file("passwd.aside"));
    Files.createSymbolicLink(file("passwd"), Path.of("passwd")); // which leads to itself
  }

  /** Lets those who wait go on, too. */
  void heal() throws Exception {
    if (Files.exists(file("passwd.aside"))) {
      Path broken = Files.move(file("passwd"), file("passwd.broken"));
      Files.move(file("passwd.aside"), file("passwd"));
      run("sh", "-c", "[ -L " + broken + " ] || : <>" + broken); // the FIFO has a writer then, who has nothing to say
      Files.delete(broken);
    }
  }
}
