package zorf.users;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.io.UncheckedIOException;
import java.nio.channels.ClosedByInterruptException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import java.time.Duration;
import java.util.ArrayList;
import java.util.Collections;
import java.util.List;
import java.util.Random;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.atomic.AtomicInteger;
import org.apache.hadoop.hdfs.server.namenode.zorf.UserThreads;
import org.junit.jupiter.api.Test;
import zorf.users.WaitingTest.Caller;

/** Many callers and users at once, with threads that come and go all the time. */
class StormTest {
  private static final int CALLERS = 32;
  private static final int SECONDS = 4;
  private static final long LAST_MOMENTS = TimeUnit.SECONDS.toNanos(30);

  private final AtomicInteger calls = new AtomicInteger();
  private final AtomicInteger interrupts = new AtomicInteger();
  private Path directory;

  @Test
  void nobodyEverActsAsSomebodyElse() throws Exception {
    directory = Files.createTempDirectory("storm");
    Files.setPosixFilePermissions(directory, PosixFilePermissions.fromString("rwxrwxrwx"));
    try (UserThreads threads =
        UserThreads.builder()
            .threadsPerUser(3)
            .threads(12)
            .maxAge(Duration.ofMillis(300))
            .maxIdle(Duration.ofMillis(20))
            .maxWait(Duration.ofSeconds(60))
            .build()) {
      long end = System.nanoTime() + TimeUnit.SECONDS.toNanos(SECONDS);
      List<Caller<Void>> callers = new ArrayList<>();
      for (int i = 0; i < CALLERS; i++) {
        Random random = new Random(i);
        callers.add(
            new Caller<>(
                () -> {
                  while (System.nanoTime() - end < 0) {
                    callOnce(threads, random);
                  }
                  return null;
                }));
      }
      Random random = new Random(CALLERS);
      while (System.nanoTime() - end < 0) {
        Thread.sleep(2);
        callers.get(random.nextInt(CALLERS)).interrupt();
        assertTrue(threads.threads() <= 12);
      }
      for (Caller<Void> caller : callers) {
        caller.result();
      }
      System.out.println(calls + " calls, " + interrupts + " of them interrupted");
    }
    assertTrue(calls.get() > 1000, calls + " calls");
    // Not the virtual machine's own threads either, of which it starts some only when they are needed.
    long closed = System.nanoTime();
    while (!Kernel.switchedThreads().isEmpty() && System.nanoTime() - closed < LAST_MOMENTS) {
      Thread.sleep(10); // the system may take a moment to end a thread
    }
    assertEquals(Collections.emptyList(), Kernel.switchedThreads());
  }

  private void callOnce(UserThreads threads, Random random) throws Exception {
    int user = 1 + random.nextInt(8);
    String name = Accounts.user(user);
    try {
      switch (random.nextInt(8)) {
        case 0:
          Path file =
              threads.call(
                  name,
                  () -> {
                    Path made = Files.createTempFile(directory, "made", "");
                    assertEquals(60100 + user, Files.getAttribute(made, "unix:uid"));
                    return made;
                  });
          assertEquals(60100 + user, Files.getAttribute(file, "unix:gid"));
          break;
        case 1:
          fail(threads, name);
          break;
        default:
          assertEquals(Accounts.identity(user), threads.call(name, Kernel::identity));
      }
      calls.incrementAndGet();
    } catch (InterruptedException | ClosedByInterruptException e) {
      interrupts.incrementAndGet();
    } catch (UncheckedIOException e) {
      if (!(e.getCause() instanceof ClosedByInterruptException)) {
        throw e;
      }
      interrupts.incrementAndGet();
    }
    if (Thread.interrupted()) {
      interrupts.incrementAndGet();
    }
  }

  private static void fail(UserThreads threads, String name) throws InterruptedException {
    try {
      threads.call(
          name,
          () -> {
            throw new IOException(name);
          });
      throw new AssertionError("nothing was thrown");
    } catch (IOException e) {
      assertEquals(name, e.getMessage());
    }
  }
}
