package zorf.namenode;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.time.Duration;
import java.util.List;
import org.apache.hadoop.hdfs.server.namenode.zorf.FileType;
import org.junit.jupiter.api.Assertions;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

class LeasesTest {
  private final Leases leases = new Leases();

  private void begin(long inode, String path) throws Exception {
    Entry file =
        new Entry(path, FileType.REGULAR, 1, inode, 0644, 0, 0, 0, 0, 0, 0, false, 128 << 20, 1);
    new Caller("daemon", "127.0.0.1", false)
        .during(
            () -> {
              leases.begin("holder", file);
              return null;
            });
  }

  private String path(long inode) {
    return leases.of(inode).map(Leases.Lease::path).orElse("none");
  }

  @BeforeEach
  void write() throws Exception {
    for (String path : List.of("/a", "/a/f", "/a/d/g", "/a-b", "/a0", "/ab/f")) {
      begin(path.hashCode(), path);
    }
  }

  @Test
  void aRenamingTakesAlongWhatIsBelowAndNothingElse() {
    leases.moved("/a", "/new");
    assertEquals("/new", path("/a".hashCode()));
    assertEquals("/new/f", path("/a/f".hashCode()));
    assertEquals("/new/d/g", path("/a/d/g".hashCode()));
    for (String other : List.of("/a-b", "/a0", "/ab/f")) {
      assertEquals(other, path(other.hashCode()));
    }
    leases.moved("/new/d", "/a/d");
    assertEquals("/a/d/g", path("/a/d/g".hashCode()));
    assertEquals("/new/f", path("/a/f".hashCode()));
  }

  @Test
  void whatHasEndedIsNotRenamed() throws Exception {
    long inode = "/a/f".hashCode();
    leases.end(inode);
    begin(7, "/a/f"); // another file by the same path
    leases.moved("/a/f", "/b");
    assertFalse(leases.isHeld(inode));
    assertEquals("/b", path(7));
    leases.end(7);
    assertFalse(leases.isHeld(7));
    assertTrue(leases.isHeld("/a".hashCode()));
  }

  @Test
  void aRenamingDoesNotLookAtTheFilesOfOthers() throws Exception {
    for (int i = 0; i < 100_000; i++) {
      begin(1_000_000 + i, "/many/" + i);
    }
    Assertions.assertTimeout(
        Duration.ofSeconds(10),
        () -> {
          for (int i = 0; i < 100_000; i++) {
            leases.moved("/a/f" + i % 2, "/a/f" + (i + 1) % 2);
          }
        });
  }
}
