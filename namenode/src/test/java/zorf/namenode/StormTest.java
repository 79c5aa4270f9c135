package zorf.namenode;

import static org.junit.jupiter.api.Assertions.assertEquals;

import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Collections;
import java.util.List;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.atomic.AtomicLong;
import java.util.stream.Stream;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.permission.FsPermission;
import org.junit.jupiter.api.Test;

/** Many clients of many users at once: nobody's call is run as somebody else. */
class StormTest {
  private static final List<String> USERS =
      List.of("root", "daemon", "bin", "sys", "games", "man", "lp", "mail");

  private static final int THREADS_OF_EACH = 4;
  private static final long NANOS =
      TimeUnit.SECONDS.toNanos(Integer.getInteger("zorf.storm.seconds", 60));

  @Test
  void everyFileIsItsCallers() throws Exception {
    try (Served served = Served.start()) {
      served.as("root").setPermission(
          new org.apache.hadoop.fs.Path("/"), new FsPermission((short) 01777));
      List<Throwable> failures = Collections.synchronizedList(new ArrayList<>());
      AtomicLong calls = new AtomicLong();
      List<Thread> threads = new ArrayList<>();
      long end = System.nanoTime() + NANOS;
      for (int i = 0; i < USERS.size() * THREADS_OF_EACH; i++) {
        String user = USERS.get(i % USERS.size());
        FileSystem files = served.as(user);
        String name = "/" + user + "-" + i;
        Thread thread = new Thread(() -> work(files, name, end, calls, failures));
        thread.start();
        threads.add(thread);
      }
      for (Thread thread : threads) {
        thread.join();
      }
      assertEquals(List.of(), failures);
      try (Stream<Path> paths = Files.walk(served.root())) {
        for (Path path : (Iterable<Path>) paths.skip(1)::iterator) {
          String top = served.root().relativize(path).getName(0).toString();
          assertEquals(
              top.substring(0, top.indexOf('-')), Files.getOwner(path).getName(), path::toString);
        }
      }
      System.out.println(calls + " calls, " + served.threadCounts());
    }
  }

  private static void work(
      FileSystem files, String name, long end, AtomicLong calls, List<Throwable> failures) {
    FsPermission mode = new FsPermission((short) 0700);
    try {
      for (int i = 0; System.nanoTime() < end; i++) {
        org.apache.hadoop.fs.Path directory = new org.apache.hadoop.fs.Path(name + "/" + i);
        org.apache.hadoop.fs.Path file = new org.apache.hadoop.fs.Path(directory, "f");
        files.mkdirs(directory, mode);
        files.create(file).close();
        files.setPermission(file, mode);
        files.getFileStatus(file);
        files.listStatus(directory);
        if (i % 2 == 0) {
          files.delete(directory, true);
        }
        calls.addAndGet(6);
      }
    } catch (Exception e) {
      failures.add(e);
    }
  }
}
