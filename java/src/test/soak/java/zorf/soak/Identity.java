package zorf.soak;

import java.io.Closeable;
import java.io.FileNotFoundException;
import java.io.IOException;
import java.io.RandomAccessFile;
import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.Collections;
import java.util.List;

/** The file-system identity of a thread, as the kernel shows it. */
final class Identity {
  final long fsUid;
  final long fsGid;
  final List<Long> groups;
  final int umask;

  private Identity(String status) {
    List<Long> uids = numbers(status, "\nUid:", 10);
    List<Long> gids = numbers(status, "\nGid:", 10);
    fsUid = uids.get(3);
    fsGid = gids.get(3);
    groups = numbers(status, "\nGroups:", 10);
    umask = numbers(status, "\nUmask:", 8).get(0).intValue();
  }

  private static List<Long> numbers(String status, String name, int radix) {
    int start = status.indexOf(name) + name.length();
    List<Long> numbers = new ArrayList<>();
    for (String word : status.substring(start, status.indexOf('\n', start)).trim().split("\\s+")) {
      if (!word.isEmpty()) {
        numbers.add(Long.parseLong(word, radix));
      }
    }
    return Collections.unmodifiableList(numbers);
  }

  boolean isOf(Actor actor) {
    return fsUid == actor.uid && fsGid == actor.gid;
  }

  @Override
  public String toString() {
    return "fsuid " + fsUid + " fsgid " + fsGid + " groups " + groups;
  }

  /** Reads one thread's identity again and again. */
  static final class Reader implements Closeable {
    private final RandomAccessFile status;
    private final byte[] buffer = new byte[8192];

    private Reader(String thread) throws FileNotFoundException {
      status = new RandomAccessFile("/proc/" + thread + "/status", "r");
    }

    static Reader ofThisThread() throws IOException {
      return new Reader("thread-self");
    }

    static Reader ofThread(String id) throws IOException {
      return new Reader("self/task/" + id);
    }

    Identity read() throws IOException {
      status.seek(0);
      int length = Math.max(0, status.read(buffer));
      return new Identity(new String(buffer, 0, length, StandardCharsets.ISO_8859_1));
    }

    @Override
    public void close() throws IOException {
      status.close();
    }
  }
}
