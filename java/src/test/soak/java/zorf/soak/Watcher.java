package zorf.soak;

import java.io.File;
import java.io.IOException;
import java.util.Arrays;
import java.util.Map;
import java.util.concurrent.ConcurrentHashMap;
import java.util.concurrent.atomic.AtomicInteger;
import java.util.concurrent.locks.ReadWriteLock;
import java.util.stream.LongStream;

/**
 * Looks at the identities of all threads of the process while they work: a thread may have those
 * that it has asked for and root's, which natives take on; every other thread has root's only.
 */
final class Watcher implements Runnable {
  private static final int INTERVAL_MILLISECONDS = 20;

  /** The identities that one thread has asked for and not yet given back. */
  static final class Claims {
    private final AtomicInteger version = new AtomicInteger();
    private volatile Actor[] actors = {};

    void add(Actor actor) {
      Actor[] more = Arrays.copyOf(actors, actors.length + 1);
      more[actors.length] = actor;
      actors = more;
      version.incrementAndGet();
    }

    /** The one that was added last. */
    void remove(Actor actor) {
      Expect.that(actors[actors.length - 1] == actor, "claims out of order");
      version.incrementAndGet();
      actors = Arrays.copyOf(actors, actors.length - 1);
    }

    private static boolean contains(LongStream ids, long id) {
      return id == 0 || ids.anyMatch(each -> each == id);
    }

    boolean allow(Identity identity) {
      Actor[] now = actors;
      return contains(Arrays.stream(now).mapToLong(a -> a.uid), identity.fsUid)
          && contains(Arrays.stream(now).mapToLong(a -> a.gid), identity.fsGid);
    }
  }

  private final ReadWriteLock pause;
  private final Map<String, Claims> claims = new ConcurrentHashMap<>();
  private long looks;
  private long foreignLooks;
  volatile Throwable failure;

  Watcher(ReadWriteLock pause) {
    this.pause = pause;
  }

  /** The calling thread, whose id is {@code thread}, will claim what it switches to. */
  Claims register(String thread) {
    return claims.computeIfAbsent(thread, id -> new Claims());
  }

  @Override
  public void run() {
    try {
      while (!Soak.stopping()) {
        String[] threads = new File("/proc/self/task").list();
        Expect.that(threads != null, "the threads of the process can't be listed");
        // Its descriptors must not be seen in a sample.
        pause.readLock().lock();
        try {
          for (String thread : threads) {
            look(thread);
          }
        } finally {
          pause.readLock().unlock();
        }
        Thread.sleep(INTERVAL_MILLISECONDS);
      }
    } catch (Throwable e) {
      failure = e;
      Soak.stop();
    }
  }

  private void look(String thread) {
    Claims claimed = claims.get(thread);
    int before = claimed == null ? 0 : claimed.version.get();
    Identity identity;
    try (Identity.Reader reader = Identity.Reader.ofThread(thread)) {
      identity = reader.read();
    } catch (IOException | RuntimeException e) {
      return; // the thread has ended
    }
    if (claimed == null) {
      boolean root = identity.isOf(Actor.ROOT) || claims.containsKey(thread);
      Expect.that(root, "thread " + thread + ", which never switched, has " + identity);
      foreignLooks++;
      return;
    }
    boolean allowed = claimed.allow(identity);
    // Otherwise it has switched meanwhile.
    if (claimed.version.get() == before) {
      Expect.that(allowed, "thread " + thread + " has " + identity + ", which it did not ask for");
      looks++;
    }
  }

  @Override
  public String toString() {
    return looks + " looks at switching threads and " + foreignLooks + " at others";
  }
}
