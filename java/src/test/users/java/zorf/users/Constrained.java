package zorf.users;

import java.io.FileInputStream;
import java.io.IOException;
import java.io.InputStream;
import java.util.ArrayDeque;
import java.util.Deque;
import org.apache.hadoop.hdfs.server.namenode.zorf.UserThreadException;
import org.apache.hadoop.hdfs.server.namenode.zorf.UserThreads;
import org.apache.hadoop.hdfs.server.namenode.zorf.ZorfFiles;

/** What {@link Child} runs. Prints what becomes of each call: an identity, or a refusal. */
public final class Constrained {
  /** How many descriptors are free at last. */
  static final int STEPS = 30;

  private Constrained() {}

  /**
   * Calls.
   *
   * @param arguments users to act as; or "descriptors" and a user, to act as that user while ever
   *     more descriptors are free; or "failures" and a user, to fail as that user
   */
  public static void main(String[] arguments) throws Exception {
    if (arguments[0].equals("descriptors")) {
      useUpDescriptors(arguments[1]);
      return;
    }
    if (arguments[0].equals("failures")) {
      fail(arguments[1]);
      return;
    }
    try (UserThreads threads = UserThreads.builder().build()) {
      for (String user : arguments) {
        System.out.println(outcome(threads, user));
      }
    }
  }

  private static String outcome(UserThreads threads, String user) throws InterruptedException {
    try {
      return threads.call(user, Kernel::identity);
    } catch (UserThreadException e) {
      return e.reason() + " " + e.getMessage();
    }
  }

  private static void fail(String user) throws Exception {
    ZorfFiles files = ZorfFiles.create();
    try (UserThreads threads =
        UserThreads.builder().threadsPerUser(1).warmUp(() -> files.status("/")).build()) {
      for (String path : new String[] {"/none", "/root/none", "/proc/self/exe/none"}) {
        try {
          threads.call(user, () -> files.linkTarget(path));
        } catch (Throwable e) {
          System.out.println(e);
        }
      }
      threads.call(user, () -> useAll(files));
    }
  }

  /** Makes an object of every type that there is. */
  private static Void useAll(ZorfFiles files) throws IOException {
    System.out.println(files.acl("/mnt").size() + " ACL entries");
    System.out.println(files.parseAcl("u:zorf_user1:r,g:zorf_user1:w"));
    System.out.println(files.locatedStatus("/etc/passwd", false).status().type());
    System.out.println(files.blocks("/etc/passwd", 0, 1).stream().count() + " piece");
    System.out.println(files.attributes("/mnt"));
    return null;
  }

  private static void useUpDescriptors(String user) throws Exception {
    // Whatever the JVM opens only once, it opens here.
    try (UserThreads threads = UserThreads.builder().build()) {
      outcome(threads, user);
      outcome(threads, "zorf_none");
    }
    Deque<InputStream> taken = new ArrayDeque<>();
    try {
      while (true) {
        taken.push(new FileInputStream("/dev/null"));
      }
    } catch (IOException e) {
      // that is all there are
    }
    int all = taken.size();
    while (taken.size() > all - STEPS) {
      // Each time anew: a thread that acts as the user already would go on to.
      try (UserThreads threads = UserThreads.builder().build()) {
        System.out.println(outcome(threads, user));
      } catch (IOException e) {
        System.out.println("REFUSED not made: " + e.getMessage());
      }
      taken.pop().close();
    }
  }
}
