package zorf.namenode;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.time.Duration;
import java.util.HashSet;
import java.util.List;
import java.util.Set;
import org.apache.hadoop.hdfs.server.namenode.zorf.FileType;
import org.junit.jupiter.api.Assertions;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

class LeasesTest {
  private final Leases leases = new Leases();

  private static final Caller DAEMON = new Caller("daemon", "127.0.0.1", false);

  private void begin(long inode, String path) throws Exception {
    Entry file =
        new Entry(path, FileType.REGULAR, 1, inode, 0644, 0, 0, 0, 0, 0, 0, false, 128 << 20, 1);
    DAEMON.during(
        () -> {
          leases.begin("holder", file);
          return null;
        });
  }

  /** The path of the file that has a block, as its writer asks. */
  private Object ofBlock(Caller caller, String holder, long id) throws Exception {
    return caller.during(() -> leases.ofBlock(holder, id).map(Leases.Lease::path).orElse("none"));
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

  @Test
  void allThatIsWrittenBelowADirectoryIsFound() throws Exception {
    Set<Long> found = new HashSet<>(leases.at("/a"));
    assertEquals(
        Set.of((long) "/a".hashCode(), (long) "/a/f".hashCode(), (long) "/a/d/g".hashCode()), found);
    assertEquals(List.of(), leases.at("/a/g"));
  }

  @Test
  void whatIsRenamedToReplacesWhatWasThere() {
    leases.moved("/a/f", "/a0");
    assertFalse(leases.isHeld("/a0".hashCode()));
    assertEquals("/a0", path("/a/f".hashCode()));
  }

  @Test
  void aBlockIsItsWritersAlone() throws Exception {
    long inode = "/a/f".hashCode();
    leases.handedOut(inode, new Leases.Block(8, 0, false));
    assertEquals("/a/f", ofBlock(DAEMON, "holder", 8));
    assertEquals("none", ofBlock(DAEMON, "other", 8));
    assertEquals("none", ofBlock(new Caller("bin", "127.0.0.1", false), "holder", 8));
    leases.moved("/a", "/b");
    assertEquals("/b/f", ofBlock(DAEMON, "holder", 8));
    leases.handedOut(inode, new Leases.Block(9, 100, false));
    assertEquals("none", ofBlock(DAEMON, "holder", 8));
    assertEquals("/b/f", ofBlock(DAEMON, "holder", 9));
    leases.end(inode);
    assertEquals("none", ofBlock(DAEMON, "holder", 9));
  }

  @Test
  void aBlockIsFoundAmongManyAtOnce() throws Exception {
    for (int i = 0; i < 100_000; i++) {
      begin(1_000_000 + i, "/many/" + i);
      leases.handedOut(1_000_000 + i, new Leases.Block(i, 0, false));
    }
    Assertions.assertTimeout(
        Duration.ofSeconds(10),
        () -> {
          for (int i = 0; i < 100_000; i++) {
            assertEquals("/many/" + i, ofBlock(DAEMON, "holder", i));
          }
        });
  }
}
