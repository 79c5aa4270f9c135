package zorf.users;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.time.Duration;
import java.util.Arrays;
import java.util.concurrent.CountDownLatch;
import java.util.concurrent.TimeUnit;
import java.util.stream.Collectors;
import org.apache.hadoop.hdfs.server.namenode.zorf.UserThreadCounts;
import org.apache.hadoop.hdfs.server.namenode.zorf.UserThreadException;
import org.apache.hadoop.hdfs.server.namenode.zorf.UserThreadException.Reason;
import org.apache.hadoop.hdfs.server.namenode.zorf.UserThreads;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.Timeout;
import zorf.users.WaitingTest.Caller;

/** What can be learned about the threads while they work. */
@Timeout(60)
class CountsTest {
  private static final String USER = Accounts.user(1);

  /** All of it but the times. */
  private static String texts(UserThreads threads) {
    UserThreadCounts counts = threads.counts();
    return String.format(
        "threads %d idle %d users %d waiting %d; started %d handed %d waited %d nobody %d; %s",
        counts.threads(),
        counts.idle(),
        counts.users(),
        counts.waiting(),
        counts.started(),
        counts.handed(),
        counts.waited(),
        counts.asNobody(),
        Arrays.stream(Reason.values())
            .map(reason -> reason + " " + counts.refused(reason))
            .collect(Collectors.joining(" ")));
  }

  @Test
  void callsThreadsWaitsAndRefusalsAreCounted() throws Exception {
    UserThreads threads =
        UserThreads.builder()
            .threadsPerUser(1)
            .maxWaiting(1)
            .maxWait(Duration.ofSeconds(20))
            .build();
    String none = "UNKNOWN_USER 0 REFUSED 0 BUSY 0 CLOSED 0";
    assertEquals(
        "threads 0 idle 0 users 0 waiting 0; started 0 handed 0 waited 0 nobody 0; " + none,
        texts(threads));

    threads.call(USER, Kernel::identity);
    threads.call(USER, Kernel::identity);
    assertEquals(
        "threads 1 idle 1 users 1 waiting 0; started 1 handed 2 waited 1 nobody 0; " + none,
        texts(threads));

    CountDownLatch begun = new CountDownLatch(1);
    CountDownLatch goOn = new CountDownLatch(1);
    Caller<String> first =
        new Caller<>(
            () ->
                threads.call(
                    USER,
                    () -> {
                      begun.countDown();
                      goOn.await();
                      return "";
                    }));
    begun.await();
    final Caller<String> second = new Caller<>(() -> threads.call(USER, Kernel::identity));
    second.whenWaiting();
    assertThrows(UserThreadException.class, () -> threads.call(USER, Kernel::identity));
    assertEquals(
        "threads 1 idle 0 users 1 waiting 1; started 1 handed 3 waited 1 nobody 0;"
            + " UNKNOWN_USER 0 REFUSED 0 BUSY 1 CLOSED 0",
        texts(threads));
    long before = threads.counts().waitedNanos();
    Thread.sleep(20);
    goOn.countDown();
    first.result();
    second.result();
    long waited = threads.counts().waitedNanos() - before;
    assertTrue(waited >= TimeUnit.MILLISECONDS.toNanos(20), waited + " ns");

    assertThrows(UserThreadException.class, () -> threads.call("zorf_none", Kernel::identity));
    assertEquals(Accounts.NOBODY, threads.read("zorf_none", Kernel::identity));
    threads.close();
    assertThrows(UserThreadException.class, () -> threads.call(USER, Kernel::identity));
    assertEquals(
        "threads 0 idle 0 users 0 waiting 0; started 4 handed 5 waited 3 nobody 1;"
            + " UNKNOWN_USER 1 REFUSED 0 BUSY 1 CLOSED 1",
        texts(threads));
    assertTrue(
        threads.counts().toString().startsWith("0 threads of 0 users, 0 idle; 5 calls, 3 of them"),
        threads.counts().toString());
  }
}
