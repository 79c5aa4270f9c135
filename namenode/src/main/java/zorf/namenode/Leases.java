package zorf.namenode;

import java.util.HashMap;
import java.util.Map;
import java.util.Optional;
import java.util.Set;
import java.util.concurrent.TimeUnit;
import java.util.stream.Collectors;

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
   * @param path where the file is, without a link
   */
  record Lease(String holder, String user, String host, String path) {}

  private static final long SWEEP_NANOS = TimeUnit.MINUTES.toNanos(1);

  private final Map<Long, Lease> byInode = new HashMap<>();
  /** When each holder was heard last. */
  private final Map<String, Long> heard = new HashMap<>();
  private long swept = System.nanoTime();

  /**
   * The caller's client begins to write a file.
   *
   * @param file the file, by a path without a link
   */
  synchronized void begin(String holder, Entry file) {
    long now = System.nanoTime();
    if (now - swept > SWEEP_NANOS) {
      swept = now;
      sweep();
    }
    Caller caller = Caller.current();
    heard.put(holder, now);
    byInode.put(file.inode(), new Lease(holder, caller.user(), caller.host(), file.path()));
  }

  /** Forgets clients that are gone for good, with what they were writing. */
  private void sweep() {
    byInode.values().removeIf(lease -> silence(lease) > HARD_NANOS);
    Set<String> holders =
        byInode.values().stream().map(Lease::holder).collect(Collectors.toSet());
    heard.keySet().retainAll(holders);
  }

  synchronized void end(long inode) {
    byInode.remove(inode);
  }

  synchronized void renew(String holder) {
    heard.computeIfPresent(holder, (name, before) -> System.nanoTime());
  }

  /** {@return who writes a file, empty if nobody does} */
  synchronized Optional<Lease> of(long inode) {
    Lease lease = byInode.get(inode);
    if (lease != null && silence(lease) > HARD_NANOS) {
      byInode.remove(inode);
      lease = null;
    }
    return Optional.ofNullable(lease);
  }

  synchronized boolean isEmpty() {
    return byInode.isEmpty();
  }

  /** A file or a directory has been renamed; both paths are without links. */
  synchronized void moved(String from, String to) {
    byInode.replaceAll(
        (inode, lease) ->
            lease.path().equals(from) || Paths.isBelow(lease.path(), from)
                ? new Lease(
                    lease.holder(),
                    lease.user(),
                    lease.host(),
                    to + lease.path().substring(from.length()))
                : lease);
  }

  boolean isHeld(long inode) {
    return of(inode).isPresent();
  }

  /** {@return whether the holder has been silent for so long that somebody else may write} */
  synchronized boolean isForsaken(Lease lease) {
    return silence(lease) > SOFT_NANOS;
  }

  private long silence(Lease lease) {
    long now = System.nanoTime();
    return now - heard.getOrDefault(lease.holder(), now - HARD_NANOS - 1);
  }
}
