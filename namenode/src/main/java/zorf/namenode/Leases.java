package zorf.namenode;

import java.util.ArrayList;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.NavigableMap;
import java.util.Optional;
import java.util.Set;
import java.util.TreeMap;
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
   * @param block the one that was handed out last, null if none was
   */
  record Lease(String holder, String user, String host, String path, Block block) {
    private Lease at(String other) {
      return new Lease(holder, user, host, other, block);
    }

    private Lease writing(Block other) {
      return new Lease(holder, user, host, path, other);
    }
  }

  /**
   * A block of a file.
   *
   * @param id its id
   * @param offset where it begins in the file
   * @param lastTry whether its writer could use no DataNode before
   */
  record Block(long id, long offset, boolean lastTry) {}

  private static final char AFTER_SLASH = '/' + 1;

  private static final long SWEEP_NANOS = TimeUnit.MINUTES.toNanos(1);

  private final Map<Long, Lease> byInode = new HashMap<>();
  /** The same files by their paths, so that a renaming need not look at all of them. */
  private final NavigableMap<String, Long> byPath = new TreeMap<>();
  /** The same files by the ids of the blocks that were handed out last. */
  private final Map<Long, Long> byBlock = new HashMap<>();
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
    put(file.inode(), new Lease(holder, caller.user(), caller.host(), file.path(), null));
  }

  /** Forgets clients that are gone for good, with what they were writing. */
  private void sweep() {
    byInode.values().removeIf(lease -> silence(lease) > HARD_NANOS);
    byPath.values().retainAll(byInode.keySet());
    byBlock.values().retainAll(byInode.keySet());
    Set<String> holders =
        byInode.values().stream().map(Lease::holder).collect(Collectors.toSet());
    heard.keySet().retainAll(holders);
  }

  private void put(long inode, Lease lease) {
    end(inode);
    byInode.put(inode, lease);
    byPath.put(lease.path(), inode);
    if (lease.block() != null) {
      byBlock.put(lease.block().id(), inode);
    }
  }

  synchronized void end(long inode) {
    Lease lease = byInode.remove(inode);
    if (lease != null) {
      byPath.remove(lease.path(), inode);
      if (lease.block() != null) {
        byBlock.remove(lease.block().id(), inode);
      }
    }
  }

  synchronized void renew(String holder) {
    heard.computeIfPresent(holder, (name, before) -> System.nanoTime());
  }

  /** {@return who writes a file, empty if nobody does} */
  synchronized Optional<Lease> of(long inode) {
    Lease lease = byInode.get(inode);
    if (lease != null && silence(lease) > HARD_NANOS) {
      end(inode);
      lease = null;
    }
    return Optional.ofNullable(lease);
  }

  synchronized boolean isEmpty() {
    return byInode.isEmpty();
  }

  /** A file or a directory has been renamed; both paths are without links. */
  synchronized void moved(String from, String to) {
    at(to).forEach(this::end);
    for (long inode : at(from)) {
      Lease lease = byInode.get(inode);
      put(inode, lease.at(to + lease.path().substring(from.length())));
    }
  }

  /** {@return the files that are written at a path without links, and below it} */
  synchronized List<Long> at(String path) {
    List<Long> files = new ArrayList<>(byPath.subMap(path + "/", path + AFTER_SLASH).values());
    if (byPath.containsKey(path)) {
      files.add(byPath.get(path));
    }
    return files;
  }

  /** A block of the file has been handed out to its writer. */
  synchronized void handedOut(long inode, Block block) {
    Lease lease = byInode.get(inode);
    if (lease != null) {
      put(inode, lease.writing(block));
    }
  }

  /** {@return the caller's lease of the file that has a block, empty if there is none} */
  synchronized Optional<Lease> ofBlock(String holder, long id) {
    return Optional.ofNullable(byBlock.get(id))
        .map(byInode::get)
        .filter(lease -> lease.holder().equals(holder))
        .filter(lease -> lease.user().equals(Caller.current().user()));
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
