package zorf.namenode;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.util.Set;
import java.util.concurrent.ConcurrentHashMap;
import java.util.concurrent.CountDownLatch;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.atomic.AtomicInteger;
import org.apache.hadoop.hdfs.HdfsConfiguration;
import org.apache.hadoop.hdfs.server.namenode.zorf.UserThreads;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

class HelpersTest {
  private static final int PARTS = 2000;

  private final Caller daemon = new Caller("daemon", null, false);
  private Users users;
  private Helpers helpers;

  @BeforeEach
  void start() throws Exception {
    Settings settings = Settings.of(Options.parse("--root", "/"), new HdfsConfiguration());
    users = new Users(UserThreads.builder().build(), settings);
    helpers = new Helpers(users, 4);
  }

  @AfterEach
  void close() {
    helpers.close();
    users.close();
  }

  private void asDaemon(Helpers.Part work) throws Exception {
    users.read(
        daemon,
        () -> {
          work.run();
          return null;
        });
  }

  private static void await(CountDownLatch latch) throws IOException {
    try {
      assertTrue(latch.await(10, TimeUnit.SECONDS));
    } catch (InterruptedException e) {
      throw new IOException(e);
    }
  }

  @Test
  void partsOfPartsAreDoneOnceEachByThreadsOfTheCaller() throws Exception {
    AtomicInteger done = new AtomicInteger();
    Set<String> who = ConcurrentHashMap.newKeySet();
    Set<Thread> threads = ConcurrentHashMap.newKeySet();
    CountDownLatch two = new CountDownLatch(2); // nobody goes on alone
    asDaemon(
        () -> {
          Helpers.Team team = helpers.team();
          team.complete(
              () -> {
                for (int i = 0; i < PARTS; i++) {
                  team.run(
                      () -> {
                        who.add(Caller.current().user() + " " + Identity.ofThread());
                        if (threads.add(Thread.currentThread())) {
                          two.countDown();
                        }
                        team.run(done::incrementAndGet);
                        await(two);
                      });
                }
              });
        });
    assertEquals(PARTS, done.get());
    assertEquals(1, who.size(), who::toString);
    assertTrue(threads.size() <= 4, threads::toString);
  }

  @Test
  void theFirstFailureEndsTheCall() throws Exception {
    AtomicInteger done = new AtomicInteger();
    IOException failure =
        assertThrows(
            IOException.class,
            () ->
                asDaemon(
                    () -> {
                      Helpers.Team team = helpers.team();
                      team.complete(
                          () -> {
                            for (int i = 0; i < PARTS; i++) {
                              team.run(
                                  () -> {
                                    if (done.incrementAndGet() == 100) {
                                      throw new IOException("no more");
                                    }
                                  });
                            }
                          });
                    }));
    assertEquals("no more", failure.getMessage());
    int then = done.get();
    Thread.sleep(50);
    assertEquals(then, done.get());
    assertEquals(0, users.running());
  }

  @Test
  void whereAllProcessorsAreBusyTheCallDoesAllItself() throws Exception {
    CountDownLatch busy = new CountDownLatch(3);
    CountDownLatch end = new CountDownLatch(1);
    Thread[] others = new Thread[3];
    for (int i = 0; i < others.length; i++) {
      others[i] =
          new Thread(
              () -> {
                try {
                  asDaemon(
                      () -> {
                        busy.countDown();
                        await(end);
                      });
                } catch (Exception e) {
                  throw new IllegalStateException(e);
                }
              });
      others[i].start();
    }
    await(busy);
    Set<Thread> threads = ConcurrentHashMap.newKeySet();
    asDaemon(
        () -> {
          Helpers.Team team = helpers.team();
          team.complete(
              () -> {
                for (int i = 0; i < PARTS; i++) {
                  team.run(() -> threads.add(Thread.currentThread()));
                }
              });
        });
    end.countDown();
    for (Thread other : others) {
      other.join();
    }
    assertEquals(1, threads.size());
  }
}
