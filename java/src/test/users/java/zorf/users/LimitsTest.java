package zorf.users;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.time.Duration;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.CountDownLatch;
import org.apache.hadoop.hdfs.server.namenode.zorf.UserThreads;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.Timeout;
import zorf.users.WaitingTest.Caller;

/** How many threads there are, and for how long. */
@Timeout(60)
class LimitsTest {
  private static String threadOf(UserThreads threads, int user) throws Exception {
    return threads.call(Accounts.user(user), () -> Thread.currentThread().getName());
  }

  private static void awaitThreads(int number, UserThreads threads) throws InterruptedException {
    while (threads.threads() != number) {
      Thread.sleep(1);
    }
  }

  /** Calls that all run at once, or at least as many of them as may. */
  private static final class Crowd {
    final CountDownLatch begun;
    final CountDownLatch goOn = new CountDownLatch(1);
    final List<Caller<String>> callers = new ArrayList<>();

    Crowd(int running) {
      begun = new CountDownLatch(running);
    }

    void call(UserThreads threads, int user) {
      callers.add(
          new Caller<>(
              () ->
                  threads.call(
                      Accounts.user(user),
                      () -> {
                        begun.countDown();
                        goOn.await();
                        return Kernel.identity();
                      })));
    }
  }

  @Test
  void aUserHasNoMoreThreadsThanAllowed() throws Exception {
    try (UserThreads threads = UserThreads.builder().threadsPerUser(3).build()) {
      Crowd crowd = new Crowd(3);
      for (int i = 0; i < 7; i++) {
        crowd.call(threads, 1);
      }
      crowd.begun.await();
      for (Caller<String> caller : crowd.callers) {
        caller.whenWaiting();
      }
      assertEquals(3, threads.threads());
      assertEquals(Accounts.identity(2), threads.call(Accounts.user(2), Kernel::identity));
      crowd.goOn.countDown();
      for (Caller<String> caller : crowd.callers) {
        assertEquals(Accounts.identity(1), caller.result());
      }
      assertEquals(4, threads.threads());
    }
  }

  @Test
  void oneCallerAfterTheOtherHasOneThread() throws Exception {
    try (UserThreads threads = UserThreads.builder().build()) {
      String name = threadOf(threads, 1);
      for (int i = 0; i < 1000; i++) {
        assertEquals(name, threadOf(threads, 1));
      }
      assertEquals(1, threads.threads());
    }
  }

  @Test
  void theThreadThatWasIdleLongestEndsForAnotherUser() throws Exception {
    try (UserThreads threads = UserThreads.builder().threads(2).build()) {
      String first = threadOf(threads, 1);
      String second = threadOf(threads, 2);
      assertEquals(first, threadOf(threads, 1));
      assertEquals(Accounts.identity(3), threads.call(Accounts.user(3), Kernel::identity));
      assertEquals(2, threads.threads());
      assertEquals(first, threadOf(threads, 1));
      assertNotEquals(second, threadOf(threads, 2));
      assertEquals(2, threads.threads());
    }
  }

  @Test
  void oneOfManyThreadsEndsForAUserWithoutAny() throws Exception {
    try (UserThreads threads = UserThreads.builder().threads(2).build()) {
      Crowd first = new Crowd(2);
      for (int i = 0; i < 4; i++) {
        first.call(threads, 1);
      }
      first.begun.await();
      Caller<String> other =
          new Caller<>(() -> threads.call(Accounts.user(2), Kernel::identity)).whenWaiting();
      first.goOn.countDown();
      assertEquals(Accounts.identity(2), other.result());
      for (Caller<String> caller : first.callers) {
        assertEquals(Accounts.identity(1), caller.result());
      }
      assertTrue(threads.threads() <= 2);
    }
  }

  @Test
  void anIdleThreadEnds() throws Exception {
    try (UserThreads threads = UserThreads.builder().maxIdle(Duration.ofMillis(100)).build()) {
      String name = threadOf(threads, 1);
      awaitThreads(0, threads);
      assertNotEquals(name, threadOf(threads, 1));
    }
  }

  @Test
  void aThreadEndsWithAgeAlsoWhileItIsBusy() throws Exception {
    try (UserThreads threads = UserThreads.builder().maxAge(Duration.ofMillis(200)).build()) {
      String name = threadOf(threads, 1);
      while (name.equals(threadOf(threads, 1))) {
        Thread.sleep(1);
      }
      assertEquals(Accounts.identity(1), threads.call(Accounts.user(1), Kernel::identity));
      awaitThreads(0, threads);
    }
  }

  @Test
  void aThreadEndsWithAgeAlsoWhenCallsWait() throws Exception {
    try (UserThreads threads =
        UserThreads.builder().threadsPerUser(1).maxAge(Duration.ofMillis(100)).build()) {
      CountDownLatch begun = new CountDownLatch(1);
      Caller<String> first =
          new Caller<>(
              () ->
                  threads.call(
                      Accounts.user(1),
                      () -> {
                        begun.countDown();
                        Thread.sleep(300);
                        return Thread.currentThread().getName();
                      }));
      begun.await();
      assertNotEquals(threadOf(threads, 1), first.result());
    }
  }

  @Test
  void noThreadOutlivesTheClose() throws Exception {
    UserThreads threads = UserThreads.builder().build();
    for (int i = 1; i <= 8; i++) {
      threadOf(threads, i);
    }
    threads.close();
    // Nothing more is run by them, but the system may take a moment to end them.
    while (Thread.getAllStackTraces().keySet().stream()
        .anyMatch(thread -> thread.getName().matches("zorf-(user|starter).*"))) {
      Thread.sleep(1);
    }
  }

  @Test
  void limitsMustBePositive() {
    UserThreads.Builder builder = UserThreads.builder();
    assertEquals("threads 0", text(() -> builder.threads(0)));
    assertEquals("threads for a user -1", text(() -> builder.threadsPerUser(-1)));
    assertEquals("calls that wait 0", text(() -> builder.maxWaiting(0)));
    assertEquals("time to wait PT0S", text(() -> builder.maxWait(Duration.ZERO)));
    assertEquals("idle time PT0S", text(() -> builder.maxIdle(Duration.ZERO)));
    assertEquals("age PT-1S", text(() -> builder.maxAge(Duration.ofSeconds(-1))));
    assertEquals("time to close PT0S", text(() -> builder.closeWait(Duration.ZERO)));
  }

  private static String text(Runnable choice) {
    return assertThrows(IllegalArgumentException.class, choice::run).getMessage();
  }

  @Test
  void aThreadThatCantBeStartedIsRefused() throws Exception {
    OutOfMemoryError none = new OutOfMemoryError("unable to create native thread");
    boolean[] fails = {false};
    try (UserThreads threads =
        UserThreads.builder()
            .threadFactory(
                task -> {
                  if (fails[0]) {
                    throw none;
                  }
                  return new Thread(task);
                })
            .build()) {
      fails[0] = true;
      Exception refusal = assertThrows(Exception.class, () -> threadOf(threads, 1));
      assertEquals("no thread can act as \"zorf_user1\": " + none, refusal.getMessage());
      awaitThreads(0, threads);
      fails[0] = false;
      assertFalse(threadOf(threads, 1).isEmpty());
    }
  }
}
