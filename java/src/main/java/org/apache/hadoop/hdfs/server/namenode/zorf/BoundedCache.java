package org.apache.hadoop.hdfs.server.namenode.zorf;

import java.io.IOException;
import java.util.LinkedHashMap;
import java.util.Map;

/** Keeps answers for a bounded time, and a bounded number of them: the ones used last. */
final class BoundedCache<K, V> {
  /** Finds what is not kept. */
  @FunctionalInterface
  interface Source<K, V> {
    V find(K key) throws IOException;
  }

  private static final class Kept<V> {
    private final V value;
    private final long since = System.nanoTime();

    private Kept(V value) {
      this.value = value;
    }
  }

  private final long maxAgeNanos;
  private final int maxEntries;
  private final Map<K, Kept<V>> entries = new LinkedHashMap<>(16, 0.75f, true);

  /** With a number of 0 nothing is kept. */
  BoundedCache(long maxAgeNanos, int maxEntries) {
    this.maxAgeNanos = maxAgeNanos;
    this.maxEntries = maxEntries;
  }

  /** The value of a key, found now or not long ago. What is not found is not kept. */
  V get(K key, Source<K, V> source) throws IOException {
    if (maxEntries == 0) {
      return source.find(key);
    }
    synchronized (entries) {
      Kept<V> kept = entries.get(key);
      if (kept != null && System.nanoTime() - kept.since < maxAgeNanos) {
        return kept.value;
      }
    }
    // Without the lock: a name service may take its time.
    Kept<V> found = new Kept<>(source.find(key));
    synchronized (entries) {
      entries.put(key, found);
      if (entries.size() > maxEntries) {
        entries.remove(entries.keySet().iterator().next());
      }
    }
    return found.value;
  }
}
