package org.apache.hadoop.hdfs.server.namenode.zorf;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.TimeUnit;
import org.junit.jupiter.api.Test;

class BoundedCacheTest {
  private static final long LONG = TimeUnit.HOURS.toNanos(1);

  private int asked;

  private int ask(String key) {
    return ++asked;
  }

  @Test
  void whatWasFoundIsKept() throws Exception {
    BoundedCache<String, Integer> cache = new BoundedCache<>(LONG, 2, Runnable::run);
    assertEquals(1, cache.get("a", this::ask));
    assertEquals(1, cache.get("a", this::ask));
    assertEquals(2, cache.get("b", this::ask));
    assertEquals(2, asked);
  }

  @Test
  void ofTooManyTheOnesUsedLastAreKept() throws Exception {
    BoundedCache<String, Integer> cache = new BoundedCache<>(LONG, 2, Runnable::run);
    cache.get("a", this::ask);
    cache.get("b", this::ask);
    cache.get("a", this::ask);
    cache.get("c", this::ask);
    assertEquals(1, cache.get("a", this::ask));
    assertEquals(3, cache.get("c", this::ask));
    assertEquals(4, cache.get("b", this::ask));
  }

  @Test
  void whatIsOldIsAskedForAgain() throws Exception {
    BoundedCache<String, Integer> cache =
        new BoundedCache<>(TimeUnit.MILLISECONDS.toNanos(20), 2, Runnable::run);
    assertEquals(1, cache.get("a", this::ask));
    Thread.sleep(30);
    assertEquals(2, cache.get("a", this::ask));
    Thread.sleep(300);
    assertEquals(3, cache.get("a", this::ask));
  }

  @Test
  void nobodyWaitsForWhatIsAskedForAheadOfTime() throws Exception {
    List<Runnable> later = new ArrayList<>();
    BoundedCache<String, Integer> cache =
        new BoundedCache<>(TimeUnit.SECONDS.toNanos(4), 2, later::add);
    assertEquals(1, cache.get("a", this::ask));
    assertEquals(0, later.size());
    Thread.sleep(2100);
    assertEquals(1, cache.get("a", this::ask));
    assertEquals(1, cache.get("a", this::ask));
    assertEquals(1, later.size());
    later.get(0).run();
    assertEquals(2, cache.get("a", this::ask));
  }

  @Test
  void anOldAnswerServesWhileNoNewOneComes() throws Exception {
    List<Runnable> never = new ArrayList<>();
    BoundedCache<String, Integer> cache =
        new BoundedCache<>(TimeUnit.MILLISECONDS.toNanos(500), 2, never::add);
    assertEquals(1, cache.get("a", this::ask));
    Thread.sleep(600);
    assertEquals(1, cache.get("a", this::ask)); // after a second
    long start = System.nanoTime();
    assertEquals(1, cache.get("a", this::ask));
    long millis = TimeUnit.NANOSECONDS.toMillis(System.nanoTime() - start);
    assertTrue(millis < 500, millis + " ms");
    assertEquals(1, never.size());
    Thread.sleep(5000);
    assertEquals(2, cache.get("a", this::ask)); // too old to serve
  }

  @Test
  void whatIsGoneIsNotKeptAnyLonger() throws Exception {
    BoundedCache<String, Integer> cache =
        new BoundedCache<>(TimeUnit.MILLISECONDS.toNanos(20), 2, Runnable::run);
    assertEquals(1, cache.get("a", this::ask));
    Thread.sleep(30);
    assertThrows(IOException.class, () -> cache.get("a", BoundedCacheTest::fail));
    assertEquals(2, cache.get("a", this::ask));
  }

  private static Integer fail(String key) throws IOException {
    throw new IOException(key);
  }

  @Test
  void nothingIsKeptUnlessAskedFor() throws Exception {
    BoundedCache<String, Integer> cache = new BoundedCache<>(LONG, 0, null);
    assertEquals(1, cache.get("a", this::ask));
    assertEquals(2, cache.get("a", this::ask));
  }

  @Test
  void aFailureIsNotKept() throws Exception {
    BoundedCache<String, Integer> cache = new BoundedCache<>(LONG, 2, Runnable::run);
    assertThrows(IOException.class, () -> cache.get("a", BoundedCacheTest::fail));
    assertEquals(1, cache.get("a", this::ask));
  }
}
