package zorf.users;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.time.Duration;
import java.util.concurrent.Callable;
import java.util.concurrent.CountDownLatch;
import java.util.concurrent.ExecutionException;
import java.util.concurrent.FutureTask;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.atomic.AtomicBoolean;
import org.apache.hadoop.hdfs.server.namenode.zorf.UserThreadException;
import org.apache.hadoop.hdfs.server.namenode.zorf.UserThreadException.Reason;
import org.apache.hadoop.hdfs.server.namenode.zorf.UserThreads;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.Timeout;

/** What a caller goes through: interrupts, time-outs, the end. */
@Timeout(60)
class WaitingTest {
  private static final String USER = Accounts.user(1);

  private final CountDownLatch begun = new CountDownLatch(1);
  private final CountDownLatch goOn = new CountDownLatch(1);

  /** A caller on a thread of its own. */
  static final class Caller<T> extends Thread {
    private final FutureTask<T> task;

    Caller(Callable<T> call) {
      this(new FutureTask<>(call));
    }

    private Caller(FutureTask<T> task) {
      super(task);
      this.task = task;
      start();
    }

    T result() throws Exception {
      try {
        return task.get();
      } catch (ExecutionException e) {
        throw (Exception) e.getCause();
      }
    }

    /** Waits until the caller itself waits. */
    Caller<T> whenWaiting() throws InterruptedException {
      while (getState() != State.TIMED_WAITING && getState() != State.WAITING) {
        Thread.sleep(1);
      }
      return this;
    }
  }

  /** An action that says when it runs, and then waits. */
  private String block() throws InterruptedException {
    begun.countDown();
    goOn.await();
    return Kernel.identity();
  }

  private static UserThreads oneThread() throws Exception {
    return UserThreads.builder()
        .threadsPerUser(1)
        .maxWaiting(1)
        .maxWait(Duration.ofMillis(1500))
        .closeWait(Duration.ofMillis(300))
        .build();
  }

  private static void assertBusy(String text, Caller<?> caller) {
    UserThreadException e = assertThrows(UserThreadException.class, caller::result);
    assertEquals("no thread is free for \"zorf_user1\": " + text, e.getMessage());
    assertEquals(Reason.BUSY, e.reason());
  }

  @Test
  void aCallWaitsForABoundedTimeAmongABoundedNumber() throws Exception {
    try (UserThreads threads = oneThread()) {
      Caller<String> first = new Caller<>(() -> threads.call(USER, this::block));
      begun.await();
      Caller<String> second = new Caller<>(() -> threads.call(USER, Kernel::identity));
      second.whenWaiting();
      Caller<String> third = new Caller<>(() -> threads.call(USER, Kernel::identity));
      assertBusy("already 1 other calls wait for 1 threads, of 1 in all", third);
      assertBusy("waited 1500 ms, 0 other calls wait for 1 threads, of 1 in all", second);
      assertEquals(Accounts.identity(2), threads.call(Accounts.user(2), Kernel::identity));
      goOn.countDown();
      assertEquals(Accounts.identity(1), first.result());
      assertEquals(Accounts.identity(1), threads.call(USER, Kernel::identity));
    }
  }

  @Test
  void anInterruptTakesBackACallThatWaits() throws Exception {
    try (UserThreads threads = oneThread()) {
      Caller<String> first = new Caller<>(() -> threads.call(USER, this::block));
      begun.await();
      AtomicBoolean ran = new AtomicBoolean();
      Caller<Boolean> second =
          new Caller<>(() -> threads.call(USER, () -> ran.getAndSet(true))).whenWaiting();
      second.interrupt();
      assertThrows(InterruptedException.class, second::result);
      goOn.countDown();
      first.result();
      assertEquals(Accounts.identity(1), threads.call(USER, Kernel::identity));
      assertFalse(ran.get());
    }
  }

  @Test
  void anInterruptReachesACallThatRunsAndNoLaterOne() throws Exception {
    try (UserThreads threads = oneThread()) {
      Caller<Boolean> caller =
          new Caller<>(
              () -> {
                assertEquals(
                    "interrupted",
                    threads.call(
                        USER,
                        () -> {
                          try {
                            return block();
                          } catch (InterruptedException e) {
                            Thread.currentThread().interrupt();
                            return "interrupted";
                          }
                        }));
                return Thread.interrupted();
              });
      begun.await();
      caller.interrupt();
      assertTrue(caller.result());
      assertFalse(threads.call(USER, Thread::interrupted));
    }
  }

  @Test
  void anInterruptedThreadBeginsNoCall() throws Exception {
    try (UserThreads threads = oneThread()) {
      AtomicBoolean ran = new AtomicBoolean();
      Caller<Boolean> caller =
          new Caller<>(
              () -> {
                Thread.currentThread().interrupt();
                return threads.call(USER, () -> ran.getAndSet(true));
              });
      assertThrows(InterruptedException.class, caller::result);
      assertFalse(ran.get());
      assertEquals(0, threads.threads());
    }
  }

  @Test
  void closingRefusesWhoWaitsAndLetsWhoRunsEnd() throws Exception {
    UserThreads threads =
        UserThreads.builder().threadsPerUser(1).closeWait(Duration.ofSeconds(30)).build();
    Caller<String> first = new Caller<>(() -> threads.call(USER, this::block));
    begun.await();
    Caller<String> second = new Caller<>(() -> threads.call(USER, Kernel::identity)).whenWaiting();
    Caller<Void> closer =
        new Caller<>(
            () -> {
              threads.close();
              return null;
            });
    String closed = "the threads are closed, also to \"zorf_user1\"";
    UserThreadException refusal = assertThrows(UserThreadException.class, second::result);
    assertEquals(closed, refusal.getMessage());
    assertEquals(Reason.CLOSED, refusal.reason());
    closer.whenWaiting();
    goOn.countDown();
    assertEquals(Accounts.identity(1), first.result());
    closer.result();
    assertEquals(0, threads.threads());
    assertEquals(
        closed,
        assertThrows(UserThreadException.class, () -> threads.call(USER, Kernel::identity))
            .getMessage());
    threads.close(); // once more is nothing
  }

  @Test
  void closingInterruptsACallThatDoesNotEnd() throws Exception {
    UserThreads threads = oneThread();
    Caller<String> caller = new Caller<>(() -> threads.call(USER, this::block));
    begun.await();
    long start = System.nanoTime();
    threads.close();
    long milliseconds = TimeUnit.NANOSECONDS.toMillis(System.nanoTime() - start);
    assertTrue(milliseconds >= 300, milliseconds + " ms");
    assertThrows(InterruptedException.class, caller::result);
    assertEquals(0, threads.threads());
  }

  @Test
  void closingGivesUpACallThatNothingEnds() throws Exception {
    UserThreads threads = oneThread();
    Caller<String> caller =
        new Caller<>(
            () ->
                threads.call(
                    USER,
                    () -> {
                      while (true) {
                        try {
                          return block();
                        } catch (InterruptedException e) {
                          // as a call on a file system that hangs
                        }
                      }
                    }));
    begun.await();
    threads.close();
    assertEquals(1, threads.threads());
    goOn.countDown();
    assertEquals(Accounts.identity(1), caller.result());
  }
}
