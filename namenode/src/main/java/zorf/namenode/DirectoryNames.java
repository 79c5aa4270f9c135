package zorf.namenode;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.DirectoryIteratorException;
import java.nio.file.DirectoryStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.time.Duration;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.HashSet;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.concurrent.ScheduledThreadPoolExecutor;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.atomic.AtomicLong;
import org.slf4j.Logger;
import org.slf4j.LoggerFactory;

/**
 * The names in a directory, sorted by their bytes. Those of large ones are kept for a while, so that
 * the pages of a listing don't read the directory anew each time.
 */
final class DirectoryNames implements AutoCloseable {
  private static final Logger LOG = LoggerFactory.getLogger(DirectoryNames.class);

  /** What stands for bytes that are no UTF-8: such a name can't be told, nor asked for. */
  private static final char REPLACEMENT = '\ufffd';

  private static final int WORTH_KEEPING = 1000;
  private static final int MAX_KEPT = 4_000_000;
  private static final int MAX_LOGGED = 10_000;

  /** One state of one directory, as one user sees it. */
  private record Key(long inode, long modified, long changed, long size, String user) {}

  /** A directory's names, and when they were asked for. */
  private record Kept(List<byte[]> names, long asked) {}

  /** Those that were asked for last at the end. */
  private final Map<Key, Kept> kept = new LinkedHashMap<>(16, 0.75f, true);
  private int keptNames;
  private final long keptNanos;
  private final ScheduledThreadPoolExecutor sweeper;
  private final AtomicLong leftOut = new AtomicLong();
  private final Set<Long> logged = new HashSet<>();
  private final Root root;

  /**
   * Starts a thread, which must not be done by one that acts as a user: it would, too.
   *
   * @param keptFor how long names are kept that nobody asks for
   */
  DirectoryNames(Root root, Duration keptFor) {
    this.root = root;
    keptNanos = keptFor.toNanos();
    sweeper =
        new ScheduledThreadPoolExecutor(
            1,
            task -> {
              Thread thread = new Thread(task, "old listings");
              thread.setDaemon(true);
              return thread;
            });
    sweeper.scheduleWithFixedDelay(
        this::sweep, keptNanos / 4, keptNanos / 4, TimeUnit.NANOSECONDS);
  }

  private synchronized void sweep() {
    long now = System.nanoTime();
    var oldest = kept.values().iterator();
    while (oldest.hasNext()) {
      Kept names = oldest.next();
      if (now - names.asked() < keptNanos) {
        return;
      }
      keptNames -= names.names().size();
      oldest.remove();
    }
  }

  /** {@return how many names are kept} */
  synchronized int kept() {
    return keptNames;
  }

  @Override
  public void close() {
    sweeper.shutdownNow();
  }

  /** {@return how many names were skipped because they are not UTF-8} */
  long leftOut() {
    return leftOut.get();
  }

  /**
   * The names in a directory.
   *
   * @param directory the directory
   * @param continued whether it is not the first page of a listing
   */
  List<byte[]> of(Entry directory, boolean continued) throws IOException {
    Key key =
        new Key(
            directory.inode(),
            directory.modified(),
            directory.changed(),
            directory.size(),
            Caller.current().user());
    // Opened all the same: the right to list it may be gone.
    try (DirectoryStream<Path> entries =
        Files.newDirectoryStream(root.localPath(directory.path()))) {
      List<byte[]> names = continued ? get(key) : null;
      if (names == null) {
        names = read(directory, entries);
        keep(key, names);
      }
      return names;
    } catch (DirectoryIteratorException e) {
      throw e.getCause();
    }
  }

  private List<byte[]> read(Entry directory, DirectoryStream<Path> entries) {
    List<byte[]> names = new ArrayList<>();
    int skipped = 0;
    for (Path entry : entries) {
      String name = entry.getFileName().toString();
      if (name.indexOf(REPLACEMENT) >= 0 && !isItself(entry, name)) {
        skipped++;
      } else {
        names.add(name.getBytes(StandardCharsets.UTF_8));
      }
    }
    if (skipped > 0) {
      leftOut.addAndGet(skipped);
      if (isFirstTime(directory)) {
        LOG.warn("{}: {} names are not UTF-8 and are not listed", directory.path(), skipped);
      }
    }
    names.sort(Arrays::compareUnsigned);
    return names;
  }

  private boolean isFirstTime(Entry directory) {
    synchronized (logged) {
      return logged.size() < MAX_LOGGED && logged.add(directory.inode());
    }
  }

  /** A name may really have the character that stands for others. */
  private static boolean isItself(Path entry, String name) {
    return Files.exists(entry.resolveSibling(name), java.nio.file.LinkOption.NOFOLLOW_LINKS);
  }

  private synchronized List<byte[]> get(Key key) {
    Kept before = kept.get(key);
    if (before == null) {
      return null;
    }
    kept.put(key, new Kept(before.names(), System.nanoTime()));
    return before.names();
  }

  private synchronized void keep(Key key, List<byte[]> names) {
    if (names.size() < WORTH_KEEPING || names.size() > MAX_KEPT) {
      return;
    }
    Kept before = kept.put(key, new Kept(names, System.nanoTime()));
    keptNames += names.size() - (before == null ? 0 : before.names().size());
    var oldest = kept.values().iterator();
    while (keptNames > MAX_KEPT) {
      keptNames -= oldest.next().names().size();
      oldest.remove();
    }
  }
}
