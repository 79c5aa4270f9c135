package org.apache.hadoop.hdfs.server.namenode.zorf;

import java.io.IOException;
import java.nio.file.attribute.UserPrincipalNotFoundException;
import java.util.ArrayList;
import java.util.Collections;
import java.util.List;
import java.util.concurrent.BlockingQueue;
import java.util.concurrent.Executor;
import java.util.concurrent.LinkedBlockingQueue;
import org.apache.hadoop.hdfs.server.namenode.ZORFNative;

/** Names and ids of users and groups, and ACL entries that are written with names. */
final class Names {
  private static final String NUMBER = "[0-9]{1,10}";

  /** The one thread that asks ahead of time. It is not for a thread that acts as a user to start it. */
  private static final class Background {
    private static BlockingQueue<Runnable> tasks;

    private static synchronized Executor start() {
      if (tasks == null) {
        tasks = new LinkedBlockingQueue<>();
        Thread thread = new Thread(Background::run, "zorf-names");
        thread.setDaemon(true);
        thread.start();
      }
      return tasks::add;
    }

    private static void run() {
      while (true) {
        try {
          tasks.take().run();
        } catch (InterruptedException | Error e) {
          // Nobody else has this thread; and who finds no answer asks as if there were none.
        }
      }
    }
  }

  private final BoundedCache<Long, String> users;
  private final BoundedCache<Long, String> groups;
  private final BoundedCache<String, Long> uids;
  private final BoundedCache<String, Long> gids;

  Names(long maxAgeNanos, int maxEntries) {
    Executor background = maxEntries == 0 ? null : Background.start();
    users = new BoundedCache<>(maxAgeNanos, maxEntries, background);
    groups = new BoundedCache<>(maxAgeNanos, maxEntries, background);
    uids = new BoundedCache<>(maxAgeNanos, maxEntries, background);
    gids = new BoundedCache<>(maxAgeNanos, maxEntries, background);
  }

  String user(long uid) throws IOException {
    return nameOrNumber("getUser", users, uid, () -> ZORFNative.getUser((int) uid));
  }

  String group(long gid) throws IOException {
    return nameOrNumber("getGroup", groups, gid, () -> ZORFNative.getGroup((int) gid));
  }

  long uid(String user) throws IOException {
    return uids.get(user, name -> id("getUid", name, () -> ZORFNative.getUid(name)));
  }

  long gid(String group) throws IOException {
    return gids.get(group, name -> id("getGid", name, () -> ZORFNative.getGid(name)));
  }

  private static String nameOrNumber(
      String nativeName, BoundedCache<Long, String> cache, long id, Failures.Call<String> lookUp)
      throws IOException {
    String number = Long.toString(id);
    try {
      return cache.get(id, key -> Failures.calling(nativeName, number, lookUp));
    } catch (IOException e) {
      requireMemory(e);
      return number;
    }
  }

  /** All else that the natives report of a look-up is a name or an id that is not there. */
  private static void requireMemory(IOException e) throws IOException {
    if (ZorfFailure.errnoOf(e) == Errno.ENOMEM) {
      throw e;
    }
  }

  private static long id(String nativeName, String name, Failures.Call<Integer> lookUp)
      throws IOException {
    try {
      return Integer.toUnsignedLong(Failures.calling(nativeName, name, lookUp));
    } catch (IOException e) {
      requireMemory(e);
      UserPrincipalNotFoundException unknown = new UserPrincipalNotFoundException(name);
      unknown.initCause(e);
      throw unknown;
    }
  }

  /** Reads entries as {@link AclEntry#parseAll} does, with names for ids. */
  List<AclEntry> parseAcl(String text) throws IOException {
    List<AclEntry> entries = new ArrayList<>();
    for (String piece : text.split("[,\n]")) {
      if (!piece.trim().isEmpty()) {
        entries.add(AclEntry.parse(withId(piece.trim())));
      }
    }
    return Collections.unmodifiableList(entries);
  }

  private String withId(String piece) throws IOException {
    String[] fields = piece.split(":", -1);
    int tag = fields[0].equals("d") || fields[0].equals("default") ? 1 : 0;
    if (fields.length != tag + 3) {
      return piece; // for AclEntry to refuse
    }
    String name = fields[tag + 1];
    boolean user = fields[tag].equals("u") || fields[tag].equals("user");
    boolean group = fields[tag].equals("g") || fields[tag].equals("group");
    if (!name.isEmpty() && !name.matches(NUMBER) && (user || group)) {
      fields[tag + 1] = Long.toString(user ? uid(name) : gid(name));
    }
    return String.join(":", fields);
  }

  /** An entry as {@link #parseAcl} reads it. */
  String format(AclEntry entry) throws IOException {
    String text = entry.toString();
    if (!entry.tag().isQualified()) {
      return text;
    }
    long id = entry.qualifier();
    String name = entry.tag() == AclTag.USER ? user(id) : group(id);
    return text.replace(":" + id + ":", ":" + name + ":");
  }
}
