package zorf.users;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assumptions.assumeTrue;

import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import java.util.concurrent.ThreadFactory;
import java.util.concurrent.atomic.AtomicInteger;
import org.apache.hadoop.hdfs.server.namenode.zorf.UserThreads;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

/** Virtual threads may call, and never serve. Reflection: the tests are compiled for Java 8. */
class VirtualThreadsTest {
  private ThreadFactory virtual;

  @BeforeEach
  void findVirtualThreads() throws Exception {
    assumeTrue(
        Double.parseDouble(System.getProperty("java.specification.version")) >= 21,
        "this Java has no virtual threads");
    Object builder = Thread.class.getMethod("ofVirtual").invoke(null);
    virtual =
        (ThreadFactory)
            Class.forName("java.lang.Thread$Builder").getMethod("factory").invoke(builder);
  }

  @Test
  void aFactoryOfVirtualThreadsIsRefused() {
    assertEquals(
        "the thread factory makes virtual threads, which share their identities",
        assertThrows(
                IllegalArgumentException.class,
                () -> UserThreads.builder().threadFactory(virtual).build())
            .getMessage());
  }

  @Test
  void aVirtualThreadThatComesLaterIsRefused() throws Exception {
    AtomicInteger made = new AtomicInteger();
    ThreadFactory both =
        task -> made.getAndIncrement() == 0 ? new Thread(task) : virtual.newThread(task);
    assertEquals("the thread factory made a virtual thread", refusal(both));
  }

  @Test
  void aVirtualThreadBehindAThreadIsRefused() throws Exception {
    ThreadFactory behind = task -> new Thread(() -> virtual.newThread(task).start());
    assertEquals("a virtual thread shares its identity with others", refusal(behind));
  }

  private static String refusal(ThreadFactory factory) throws Exception {
    try (UserThreads threads = UserThreads.builder().threadFactory(factory).build()) {
      String text =
          assertThrows(Exception.class, () -> threads.call(Accounts.user(1), Kernel::identity))
              .getMessage();
      String start = "no thread can act as \"zorf_user1\": ";
      assertEquals(start, text.substring(0, start.length()));
      return text.substring(start.length());
    }
  }

  @Test
  void virtualThreadsMayCall() throws Exception {
    ExecutorService executor = Executors.newFixedThreadPool(64, virtual);
    try (UserThreads threads = UserThreads.builder().build()) {
      List<Future<String>> identities = new ArrayList<>();
      for (int i = 0; i < 400; i++) {
        String user = Accounts.user(1 + i % 8);
        identities.add(executor.submit(() -> threads.call(user, Kernel::identity)));
      }
      for (int i = 0; i < 400; i++) {
        assertEquals(Accounts.identity(1 + i % 8), identities.get(i).get());
      }
      String after = executor.submit(Kernel::identity).get();
      assertEquals(Kernel.processIdentity(), after);
    } finally {
      executor.shutdown();
    }
  }

  @Test
  void aVirtualThreadMayMakeThem() throws Exception {
    ExecutorService executor = Executors.newFixedThreadPool(64, virtual);
    try (UserThreads threads = executor.submit(() -> UserThreads.builder().build()).get()) {
      assertEquals(Accounts.identity(1), threads.call(Accounts.user(1), Kernel::identity));
    } finally {
      executor.shutdown();
    }
  }
}
