package zorf.namenode;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotSame;
import static org.junit.jupiter.api.Assertions.assertSame;

import java.nio.file.Files;
import java.nio.file.Path;
import java.time.Duration;
import java.util.List;
import org.apache.hadoop.hdfs.server.namenode.zorf.ZorfFiles;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

class DirectoryNamesTest {
  private static final int MANY = 1000;
  private static final Caller CALLER = new Caller("root", null, true);

  @TempDir Path directory;
  private Root root;

  @BeforeEach
  void fill() throws Exception {
    root = new Root(directory.toRealPath(), ZorfFiles.create(), 1 << 20);
    for (int i = 0; i < MANY; i++) {
      Files.createFile(directory.resolve("f" + i));
    }
  }

  private Object ask(DirectoryNames names) throws Exception {
    return CALLER.during(() -> names.of(root.get("/"), true));
  }

  @Test
  void theNamesOfALargeDirectoryAreKept() throws Exception {
    try (DirectoryNames names = new DirectoryNames(root, Duration.ofMinutes(1))) {
      Object first = ask(names);
      assertEquals(MANY, ((List<?>) first).size());
      assertSame(first, ask(names));
      assertEquals(MANY, names.kept());
    }
  }

  @Test
  void namesThatNobodyAsksForGo() throws Exception {
    try (DirectoryNames names = new DirectoryNames(root, Duration.ofMillis(200))) {
      Object first = ask(names);
      for (int i = 0; names.kept() > 0 && i < 1000; i++) {
        Thread.sleep(20);
      }
      assertEquals(0, names.kept());
      assertNotSame(first, ask(names));
    }
  }
}
