package org.apache.hadoop.hdfs.server.namenode.zorf;

import java.io.IOException;
import java.util.LinkedHashMap;
import java.util.Map;
import java.util.concurrent.Executor;
import java.util.concurrent.TimeUnit;

/**
 * Keeps answers for a bounded time, and a bounded number of them: the ones used last. Before an answer
 * is too old it is asked for again in the background, so that nobody has to wait for it. Where that takes
 * long, as with a name service that hangs, the old answer serves for ten times as long.
 */
final class BoundedCache<K, V> {
  private static final int TOLERATED = 10;
  private static final long PATIENCE_MILLIS = 1000;

  /** Finds what is not kept. */
  @FunctionalInterface
  interface Source<K, V> {
    V find(K key) throws IOException;
  }

  /** Guarded by the entries. */
  private static final class Kept<V> {
    private final V value;
    private final long since = System.nanoTime();
    private boolean asked;
    private long askedAt;

    private Kept(V value) {
      this.value = value;
    }
  }

  private final long maxAgeNanos;
  private final int maxEntries;
  private final Executor background;
  private final Map<K, Kept<V>> entries = new LinkedHashMap<>(16, 0.75f, true);

  /**
   * Makes an empty one; with a number of 0 nothing is kept.
   *
   * @param background runs what may wait
   */
  BoundedCache(long maxAgeNanos, int maxEntries, Executor background) {
    this.maxAgeNanos = maxAgeNanos;
    this.maxEntries = maxEntries;
    this.background = background;
  }

  /** The value of a key, found now or not long ago. What is not found is not kept. */
  V get(K key, Source<K, V> source) throws IOException {
    if (maxEntries == 0) {
      return source.find(key);
    }
    synchronized (entries) {
      Kept<V> kept = entries.get(key);
      if (kept != null && ageOf(kept) < TOLERATED * maxAgeNanos) {
        Kept<V> fresh = refreshed(key, kept, source);
        if (fresh != null) {
          return fresh.value;
        }
      }
    }
    // Without the lock: a name service may take its time.
    Kept<V> found = new Kept<>(source.find(key));
    synchronized (entries) {
      keep(key, found);
    }
    return found.value;
  }

  private static long ageOf(Kept<?> kept) {
    return System.nanoTime() - kept.since;
  }

  private void keep(K key, Kept<V> found) {
    entries.put(key, found);
    if (entries.size() > maxEntries) {
      entries.remove(entries.keySet().iterator().next());
    }
    entries.notifyAll();
  }

  /** What there is to answer with, waited for if it is too old; null if it is gone. */
  private Kept<V> refreshed(K key, Kept<V> old, Source<K, V> source) {
    if (ageOf(old) < maxAgeNanos / 2) {
      return old;
    }
    if (!old.asked) {
      old.asked = true;
      old.askedAt = System.nanoTime();
      background.execute(() -> refresh(key, old, source));
    }
    Kept<V> kept = old;
    while (kept == old && ageOf(old) >= maxAgeNanos) {
      long left = PATIENCE_MILLIS - TimeUnit.NANOSECONDS.toMillis(System.nanoTime() - old.askedAt);
      if (left <= 0) {
        return old;
      }
      try {
        entries.wait(left);
      } catch (InterruptedException e) {
        Thread.currentThread().interrupt();
        return old;
      }
      kept = entries.get(key);
    }
    return kept;
  }

  private void refresh(K key, Kept<V> old, Source<K, V> source) {
    Kept<V> found = null;
    try {
      found = new Kept<>(source.find(key));
    } catch (IOException | RuntimeException e) {
      // Not there any more: whoever asks next is told.
    }
    synchronized (entries) {
      if (found != null) {
        keep(key, found);
      } else {
        entries.remove(key, old);
        entries.notifyAll();
      }
    }
  }
}
