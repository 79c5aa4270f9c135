package org.apache.hadoop.hdfs.server.namenode.zorf;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;

import java.io.IOException;
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
    BoundedCache<String, Integer> cache = new BoundedCache<>(LONG, 2);
    assertEquals(1, cache.get("a", this::ask));
    assertEquals(1, cache.get("a", this::ask));
    assertEquals(2, cache.get("b", this::ask));
    assertEquals(2, asked);
  }

  @Test
  void ofTooManyTheOnesUsedLastAreKept() throws Exception {
    BoundedCache<String, Integer> cache = new BoundedCache<>(LONG, 2);
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
    BoundedCache<String, Integer> cache = new BoundedCache<>(TimeUnit.MILLISECONDS.toNanos(20), 2);
    assertEquals(1, cache.get("a", this::ask));
    Thread.sleep(30);
    assertEquals(2, cache.get("a", this::ask));
  }

  @Test
  void nothingIsKeptUnlessAskedFor() throws Exception {
    BoundedCache<String, Integer> cache = new BoundedCache<>(LONG, 0);
    assertEquals(1, cache.get("a", this::ask));
    assertEquals(2, cache.get("a", this::ask));
  }

  @Test
  void aFailureIsNotKept() throws Exception {
    BoundedCache<String, Integer> cache = new BoundedCache<>(LONG, 2);
    assertThrows(
        IOException.class,
        () ->
            cache.get(
                "a",
                key -> {
                  throw new IOException(key);
                }));
    assertEquals(1, cache.get("a", this::ask));
  }
}
