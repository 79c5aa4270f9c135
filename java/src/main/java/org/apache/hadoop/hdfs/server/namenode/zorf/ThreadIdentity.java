package org.apache.hadoop.hdfs.server.namenode.zorf;

import java.io.ByteArrayOutputStream;
import java.io.FileInputStream;
import java.io.IOException;
import java.io.InputStream;
import java.nio.charset.StandardCharsets;
import java.util.Collections;
import java.util.Set;
import java.util.TreeSet;

/** Who a thread is on the file system, as the kernel itself tells it. */
final class ThreadIdentity {
  /**
   * The capabilities that pass over permission bits: chown, dac_override, dac_read_search, fowner,
   * fsetid, linux_immutable, mknod, mac_override. The kernel takes them from a thread whose
   * file-system uid leaves 0, and only then.
   */
  private static final long FILE_CAPABILITIES = 0x1_0800_021FL;

  private final long euid;
  private final long fsUid;
  private final long egid;
  private final long fsGid;
  private final Set<Long> groups;
  private final long capabilities;

  private ThreadIdentity(String status) throws IOException {
    String[] uids = words(status, "\nUid:", 4);
    String[] gids = words(status, "\nGid:", 4);
    euid = Long.parseLong(uids[1]);
    fsUid = Long.parseLong(uids[3]);
    egid = Long.parseLong(gids[1]);
    fsGid = Long.parseLong(gids[3]);
    TreeSet<Long> ids = new TreeSet<>();
    for (String group : words(status, "\nGroups:", 0)) {
      ids.add(Long.parseLong(group));
    }
    groups = Collections.unmodifiableSet(ids);
    capabilities = Long.parseLong(words(status, "\nCapEff:", 1)[0], 16);
  }

  /** The calling thread's. */
  static ThreadIdentity ofThisThread() throws IOException {
    return new ThreadIdentity(read("/proc/thread-self/status"));
  }

  /** That of the process: of its first thread, which in a JVM runs no Java. */
  static ThreadIdentity ofProcess() throws IOException {
    return new ThreadIdentity(read("/proc/self/status"));
  }

  private static String read(String file) throws IOException {
    try (InputStream in = new FileInputStream(file)) {
      ByteArrayOutputStream text = new ByteArrayOutputStream();
      byte[] buffer = new byte[8192];
      for (int length = in.read(buffer); length > 0; length = in.read(buffer)) {
        text.write(buffer, 0, length);
      }
      return new String(text.toByteArray(), StandardCharsets.ISO_8859_1);
    }
  }

  private static String[] words(String status, String name, int least) throws IOException {
    int start = status.indexOf(name);
    int end = start < 0 ? -1 : status.indexOf('\n', start + 1);
    if (end < 0) {
      throw new IOException("no" + name.replace('\n', ' ') + " in the status of a thread");
    }
    String line = status.substring(start + name.length(), end).trim();
    String[] words = line.isEmpty() ? new String[0] : line.split("\\s+");
    if (words.length < least) {
      throw new IOException("the status of a thread has" + name.replace('\n', ' ') + " " + line);
    }
    return words;
  }

  /** Whether the thread acts on files as the user that it runs as. */
  boolean isUnswitched() {
    return fsUid == euid && fsGid == egid;
  }

  /** Whether the thread has this account's ids, and all of its groups but no other. */
  boolean isOf(UserAccount account) {
    // The kernel looks for a file's group in both.
    Set<Long> memberOf = new TreeSet<>(groups);
    memberOf.add(fsGid);
    return fsUid == account.uid() && fsGid == account.gid() && memberOf.equals(account.groups());
  }

  /** Whether the thread passes over permissions that a user would be held to. */
  boolean overridesPermissions() {
    return fsUid != 0 && (capabilities & FILE_CAPABILITIES) != 0;
  }

  /** The user that the process runs as. */
  long euid() {
    return euid;
  }

  String capabilities() {
    return String.format("%016x", capabilities);
  }

  @Override
  public boolean equals(Object object) {
    if (!(object instanceof ThreadIdentity)) {
      return false;
    }
    ThreadIdentity other = (ThreadIdentity) object;
    return toString().equals(other.toString())
        && euid == other.euid
        && egid == other.egid
        && capabilities == other.capabilities;
  }

  @Override
  public int hashCode() {
    return toString().hashCode();
  }

  @Override
  public String toString() {
    return "fsuid " + fsUid + " fsgid " + fsGid + " groups " + groups;
  }
}
