package zorf.namenode.soak;

import java.io.IOException;
import java.util.List;
import java.util.Random;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.fs.permission.AclEntry;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.hdfs.DistributedFileSystem;
import org.apache.hadoop.security.AccessControlException;

/** What a user tries with the files of another one, who keeps them private. */
final class Refusals {
  /** A call that must not be answered. */
  @FunctionalInterface
  interface Attempt {
    void run() throws IOException;
  }

  private final DistributedFileSystem files;
  private final String name;
  private final int users;
  private final Random random;

  Refusals(DistributedFileSystem files, String name, int users, Random random) {
    this.files = files;
    this.name = name;
    this.users = users;
    this.random = random;
  }

  /** Tries one thing with the files of one other user. */
  void one(Client client) throws IOException {
    int self = Integer.parseInt(name.substring(1));
    int other = 1 + random.nextInt(users - 1);
    String victim = "u" + (other < self ? other : other + 1);
    Path home = new Path("/home/" + victim);
    Path directory = new Path(home, "private");
    Path file = new Path(directory, "f");
    Path open = new Path(home, "open");
    FsPermission all = new FsPermission((short) 0777);
    List<AclEntry> acl = AclEntry.parseAclSpec("user:" + name + ":rwx", true);
    List<Attempt> attempts =
        List.of(
            () -> files.listStatus(directory),
            () -> files.getFileStatus(file),
            () -> files.open(file).close(),
            () -> files.getAclStatus(file),
            () -> files.getXAttr(file, "user.secret"),
            () -> files.getContentSummary(directory),
            () -> files.create(new Path(directory, name)).close(),
            () -> files.mkdirs(new Path(home, name)),
            () -> files.delete(open, false),
            () -> files.rename(open, new Path("/home/" + name + "/taken")),
            () -> files.append(open).close(),
            () -> files.truncate(open, 0),
            () -> files.setPermission(open, all),
            () -> files.setOwner(open, name, null),
            () -> files.setTimes(open, 1, 1),
            () -> files.setReplication(open, (short) 1),
            () -> files.modifyAclEntries(open, acl),
            () -> files.setXAttr(open, "user.mine", new byte[1]),
            () -> files.delete(new Path("/public/f"), false));
    int chosen = random.nextInt(attempts.size());
    expect(client, name, "attempt " + chosen + " at " + home, attempts.get(chosen));
  }

  /** Has a call made that must be refused. */
  static void expect(Client client, String user, String what, Attempt attempt)
      throws IOException {
    try {
      attempt.run();
    } catch (AccessControlException e) {
      client.refused();
      return;
    }
    System.out.println(Report.wrong(user, what + " is not refused"));
  }
}
