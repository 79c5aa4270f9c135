package zorf.namenode;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.concurrent.TimeUnit;
import java.util.concurrent.atomic.AtomicReference;
import org.apache.hadoop.ipc.RetriableException;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.Timeout;

/** How many calls wait for the name service at a time. */
@Timeout(30)
class NewcomersTest {
  private final Newcomers newcomers = new Newcomers(6);

  private void serve(String user) throws RetriableException {
    try (Newcomers.Pass pass = newcomers.enter(user)) {
      pass.begun();
    }
  }

  private void assertRefused(String user, String text) {
    Refused.with(RetriableException.class, text, () -> newcomers.enter(user));
  }

  @Test
  void twoCallsOfAUserWaitAndNoMore() throws Exception {
    newcomers.enter("a");
    newcomers.enter("a");
    long start = System.nanoTime();
    String text = "the name service takes its time: 2 calls of a wait for it, of 2 in all";
    assertRefused("a", text);
    long waited = TimeUnit.NANOSECONDS.toMillis(System.nanoTime() - start);
    assertTrue(waited > 1000, waited + " ms"); // the first ones were given some time
    start = System.nanoTime();
    assertRefused("a", text);
    waited = TimeUnit.NANOSECONDS.toMillis(System.nanoTime() - start);
    assertTrue(waited < 1000, waited + " ms");
    newcomers.enter("b");
    assertEquals(2, newcomers.refused());
  }

  @Test
  void halfOfTheHandlersWaitInAll() throws Exception {
    newcomers.enter("a");
    newcomers.enter("b");
    newcomers.enter("c");
    assertRefused("d", "the name service takes its time: 0 calls of d wait for it, of 3 in all");
    newcomers.known("root").close();
  }

  @Test
  void whoIsServedPassesAndSoDoesWhoeverGetsAPlace() throws Exception {
    Newcomers.Pass first = newcomers.enter("a");
    Newcomers.Pass second = newcomers.enter("a");
    AtomicReference<Newcomers.Pass> third = new AtomicReference<>();
    Thread thread =
        new Thread(
            () -> {
              try {
                third.set(newcomers.enter("a"));
              } catch (RetriableException e) {
                // It stays null.
              }
            });
    thread.start();
    Thread.sleep(100);
    assertEquals(null, third.get());
    second.close(); // without having begun
    thread.join();
    assertTrue(third.get() != null);
    first.begun();
    for (int i = 0; i < 100; i++) {
      newcomers.enter("a").begun();
    }
  }

  @Test
  void aUserWhoseCallsTakeLongIsNoNewcomer() throws Exception {
    Newcomers.Pass first = newcomers.enter("a");
    first.begun();
    Thread.sleep(2100);
    for (int i = 0; i < 10; i++) {
      newcomers.enter("a"); // waits for a thread, perhaps
    }
    first.close();
    newcomers.enter("a");
    newcomers.enter("a");
    assertRefused("a", "the name service takes its time: 2 calls of a wait for it, of 2 in all");
  }

  @Test
  void whoIsServedAgainAndAgainStaysKnown() throws Exception {
    serve("a");
    for (int i = 0; i < 3; i++) {
      Thread.sleep(900);
      serve("a");
    }
    for (int i = 0; i < 10; i++) {
      newcomers.enter("a"); // none of which begins
    }
    Thread.sleep(2100);
    newcomers.enter("a");
    newcomers.enter("a");
    assertRefused("a", "the name service takes its time: 2 calls of a wait for it, of 2 in all");
  }
}
