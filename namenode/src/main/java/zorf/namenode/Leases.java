package zorf.namenode;

import java.util.Map;
import java.util.Optional;
import java.util.concurrent.ConcurrentHashMap;
import java.util.concurrent.TimeUnit;

/** Who is writing which file. It is in memory alone: a restart forgets it, and no byte is lost. */
final class Leases {
  /** After this long without a word from its holder anybody may take a file over. */
  private static final long SOFT_NANOS = TimeUnit.SECONDS.toNanos(60);

  /** After this long the file is closed. */
  private static final long HARD_NANOS = TimeUnit.MINUTES.toNanos(20);

  /**
   * A file that is being written.
   *
   * @param holder the client's name
   * @param user the client's user
   * @param host where it runs
   */
  record Lease(String holder, String user, String host) {}

  private final Map<Long, Lease> byInode = new ConcurrentHashMap<>();
  private final Map<String, Long> heard = new ConcurrentHashMap<>();

  /** The caller's client begins to write a file. */
  void begin(String holder, long inode) {
    Caller caller = Caller.current();
    heard.put(holder, System.nanoTime());
    byInode.put(inode, new Lease(holder, caller.user(), caller.host()));
  }

  void end(long inode) {
    Lease lease = byInode.remove(inode);
    if (lease != null && !byInode.containsValue(lease)) {
      heard.remove(lease.holder());
    }
  }

  void renew(String holder) {
    heard.computeIfPresent(holder, (name, before) -> System.nanoTime());
  }

  /** {@return who writes a file, empty if nobody does} */
  Optional<Lease> of(long inode) {
    Lease lease = byInode.get(inode);
    if (lease != null && silence(lease) > HARD_NANOS) {
      end(inode);
      lease = null;
    }
    return Optional.ofNullable(lease);
  }

  boolean isHeld(long inode) {
    return of(inode).isPresent();
  }

  /** {@return whether the holder has been silent for so long that somebody else may write} */
  boolean isForsaken(Lease lease) {
    return silence(lease) > SOFT_NANOS;
  }

  private long silence(Lease lease) {
    long now = System.nanoTime();
    return now - heard.getOrDefault(lease.holder(), now - HARD_NANOS - 1);
  }
}
