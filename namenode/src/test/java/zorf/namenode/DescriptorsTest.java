package zorf.namenode;

import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.channels.FileChannel;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/** An open file has a path of its own. */
class DescriptorsTest {
  private static final int THREADS = 8;

  @TempDir Path directory;

  @Test
  void aFileIsFoundAmongThoseThatOthersOpenAndClose() throws Exception {
    ExecutorService threads = Executors.newFixedThreadPool(THREADS);
    try {
      List<Future<?>> all = new ArrayList<>();
      for (int i = 0; i < THREADS; i++) {
        Path file = Files.createFile(directory.resolve("f" + i));
        all.add(threads.submit(() -> findAgainAndAgain(file)));
      }
      for (Future<?> each : all) {
        each.get();
      }
    } finally {
      threads.shutdownNow();
    }
  }

  private static Void findAgainAndAgain(Path file) throws Exception {
    for (int i = 0; i < 1000; i++) {
      try (FileChannel open = FileChannel.open(file)) {
        assertTrue(Files.isSameFile(Descriptors.path(open), file));
      }
    }
    return null;
  }
}
