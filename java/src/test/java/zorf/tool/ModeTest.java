package zorf.tool;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.util.ArrayList;
import java.util.List;
import java.util.Random;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/** Changes of permission bits do what chmod(1) does. */
class ModeTest {
  private static final String[] CHANGES = {
    "0", "7", "750", "1777", "02750", "00750", "u+rwX,g-w,o=", "a+X", "+t", "u+t", "o+t", "a=", "=",
    "+w", "-w", "=rw", "g=u", "o=g", "u-o", "a+u", "=u", "+g", "u=rwx", "a=rx", "g-s", "ug-s", "-s",
    "u-s+x", "go=rX-r", "u+r-w=x", "a-x,a+X", "o-t", "a-t", "g=t", "uo-x+r,a=r", "u=rw,g=u", "u=x,o=u,u=r"
  };

  @TempDir Path directory;

  private String mode(Path path) throws Exception {
    return String.format("%04o", (int) Files.getAttribute(path, "unix:mode") & 07777);
  }

  @Test
  void modesAreChangedAsChmodChangesThem() throws Exception {
    Random random = new Random(4711);
    StringBuilder script = new StringBuilder("umask 027\n");
    List<Path> paths = new ArrayList<>();
    List<String> expected = new ArrayList<>();
    List<String> cases = new ArrayList<>();
    for (String change : CHANGES) {
      for (int i = 0; i < 8; i++) {
        boolean isDirectory = i % 2 == 0;
        Path path = directory.resolve(paths.size() + (isDirectory ? ".d" : ".f"));
        int before = random.nextInt(010000);
        script.append(isDirectory ? "mkdir " : "touch ").append(path).append("\n");
        script.append(String.format("chmod %05o %s\nchmod -- %s %s\n", before, path, change, path));
        paths.add(path);
        cases.add(String.format("%s of %04o, directory: %b", change, before, isDirectory));
        int after = new Mode(change, () -> 027).of(before, isDirectory);
        expected.add(String.format("%04o", after));
      }
    }
    new Launcher(directory).launcher(Paths.get("/bin/sh")).input(script.toString()).run("-s");
    for (int i = 0; i < paths.size(); i++) {
      assertEquals(mode(paths.get(i)), expected.get(i), cases.get(i));
    }
  }

  @Test
  void whatIsNoModeIsRefused() {
    for (String text : new String[] {"", "8", "10000", "u", "u+q", "u+rw,", ",", "u=gx", "rwx"}) {
      assertThrows(IllegalArgumentException.class, () -> new Mode(text, () -> 0), text);
    }
  }

  @Test
  void askingForSetIdIsSeen() {
    for (String text : new String[] {"4755", "02750", "u+s", "g=rxs", "a-r+s", "u=rwx,+s"}) {
      assertTrue(new Mode(text, () -> 0).setsId(), text);
    }
    for (String text : new String[] {"1755", "u-s", "a=rx-s", "+t", "u+r,g-s"}) {
      assertFalse(new Mode(text, () -> 0).setsId(), text);
    }
  }

  @Test
  void flagsAreThoseOfGetfacl() {
    for (String flags : new String[] {"---", "s--", "-s-", "--t", "sst"}) {
      assertEquals(flags, Mode.flags(Mode.flags(flags)));
    }
    assertEquals("-s-", Mode.flags(02755));
    assertEquals(01000, Mode.flags("--t"));
  }
}
