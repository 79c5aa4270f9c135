package zorf.namenode.soak;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.io.OutputStream;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Map;
import java.util.Random;
import org.apache.hadoop.fs.BlockLocation;
import org.apache.hadoop.fs.FSDataInputStream;
import org.apache.hadoop.fs.FileStatus;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.fs.permission.AclEntry;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.hdfs.DistributedFileSystem;

/** One user, who changes files below a directory of his own and looks at what comes of it. */
final class User {
  private static final int SLOTS = 12;
  private static final int MOST_BYTES = 3000;
  private static final FsPermission PRIVATE = new FsPermission((short) 0700);

  /** Something that the service did not do as it has to. */
  private static final class Odd extends IOException {
    private static final long serialVersionUID = 1L;

    Odd(String message) {
      super(message);
    }
  }

  /** A thing to do, with what it is called in reports. */
  @FunctionalInterface
  private interface Deed {
    void run() throws IOException;
  }

  private record Choice(int weight, String name, Deed deed) {}

  private final Client client;
  private final String name;
  private final String peer;
  private final Map<String, DistributedFileSystem> clients;
  private final DistributedFileSystem files;
  private final Random random;
  private final Refusals refusals;
  private final Path work;
  private final List<Choice> choices;
  private final int weights;

  /** What is in each file, null where there is none. */
  private final byte[][] contents = new byte[SLOTS][];

  private boolean lost = true;
  private long calls;

  /**
   * Takes who it is.
   *
   * @param peer another user of the same process
   * @param clients those of the process's users, by their names
   * @param users how many there are in all
   */
  User(
      Client client,
      String name,
      String peer,
      Map<String, DistributedFileSystem> clients,
      int users,
      Random random) {
    this.client = client;
    this.name = name;
    this.peer = peer;
    this.clients = clients;
    this.random = random;
    files = clients.get(name);
    refusals = new Refusals(files, name, users, random);
    work = new Path("/home/" + name + "/work");
    choices =
        List.of(
            new Choice(28, "status", this::status),
            new Choice(10, "list", this::list),
            new Choice(5, "locations", this::locations),
            new Choice(10, "create", this::create),
            new Choice(8, "read", this::read),
            new Choice(3, "append", this::append),
            new Choice(1, "truncate", this::truncate),
            new Choice(4, "directory", this::directory),
            new Choice(4, "rename", this::rename),
            new Choice(5, "delete", this::delete),
            new Choice(3, "acl", this::acl),
            new Choice(3, "attribute", this::attribute),
            new Choice(3, "permission", this::permission),
            new Choice(2, "properties", this::properties),
            new Choice(2, "summary", this::summary),
            new Choice(8, "refusal", this::refusal),
            new Choice(1, "stranger", this::stranger));
    weights = choices.stream().mapToInt(Choice::weight).sum();
  }

  String name() {
    return name;
  }

  /** {@return how many calls it has made} */
  long calls() {
    return calls;
  }

  /** Does one thing, and tells if that went wrong. */
  void step() throws InterruptedException {
    int chosen = random.nextInt(weights);
    Choice choice = null;
    for (int i = 0; chosen >= 0; i++) {
      choice = choices.get(i);
      chosen -= choice.weight();
    }
    if (lost) {
      choice = new Choice(0, "begin", this::begin);
    }
    long began = System.currentTimeMillis();
    try {
      choice.deed().run();
    } catch (IOException | RuntimeException e) {
      System.out.println(Report.failed(began, name, choice.name(), e));
      lost = true;
      Thread.sleep(100);
    }
  }

  private void wrong(String what) {
    System.out.println(Report.wrong(name, what));
  }

  private static void check(boolean good, String what) throws Odd {
    if (!good) {
      throw new Odd(what);
    }
  }

  /** Whatever an earlier process, or a failure, left is not known. */
  private void begin() throws IOException {
    calls += 2;
    files.delete(work, true);
    check(files.mkdirs(work, PRIVATE), "no directory");
    Arrays.fill(contents, null);
    lost = false;
  }

  private Path path(int slot) {
    return new Path(work, "f" + slot);
  }

  private int anySlot() {
    return random.nextInt(SLOTS);
  }

  /** A slot with a file, or without; from a random one on. -1 if there is none. */
  private int slot(boolean used) {
    int first = anySlot();
    for (int i = 0; i < SLOTS; i++) {
      int slot = (first + i) % SLOTS;
      if (contents[slot] != null == used) {
        return slot;
      }
    }
    return -1;
  }

  private void checkOwn(FileStatus status) throws Odd {
    if (!status.getOwner().equals(name)) {
      // Where names are not to be had, it is the number.
      int uid = 60_000 + Integer.parseInt(name.substring(1));
      if (!status.getOwner().equals(Integer.toString(uid))) {
        wrong(status.getPath() + " belongs to " + status.getOwner());
      }
      throw new Odd("the owner is " + status.getOwner());
    }
  }

  private void status() throws IOException {
    int slot = anySlot();
    calls++;
    try {
      FileStatus status = files.getFileStatus(path(slot));
      check(contents[slot] != null, "it is there");
      check(status.getLen() == contents[slot].length, "it has " + status.getLen() + " bytes");
      checkOwn(status);
    } catch (FileNotFoundException e) {
      check(contents[slot] == null, "it is missing");
    }
  }

  private void list() throws IOException {
    List<String> expected = new ArrayList<>();
    for (int i = 0; i < SLOTS; i++) {
      if (contents[i] != null) {
        expected.add("f" + i);
      }
    }
    expected.sort(null);
    calls++;
    List<String> found = new ArrayList<>();
    for (FileStatus each : files.listStatus(work)) {
      found.add(each.getPath().getName());
      checkOwn(each);
    }
    check(found.equals(expected), found + " instead of " + expected);
  }

  private void locations() throws IOException {
    int slot = slot(true);
    if (slot >= 0) {
      calls++;
      BlockLocation[] blocks = files.getFileBlockLocations(path(slot), 0, MOST_BYTES);
      check(blocks.length == (contents[slot].length == 0 ? 0 : 1), blocks.length + " blocks");
    }
  }

  private byte[] bytes() {
    byte[] bytes = new byte[random.nextBoolean() ? 0 : 1 + random.nextInt(MOST_BYTES / 2)];
    random.nextBytes(bytes);
    return bytes;
  }

  private void create() throws IOException {
    int slot = anySlot();
    byte[] bytes = bytes();
    calls += bytes.length == 0 ? 3 : 4;
    try (OutputStream out = files.create(path(slot), true)) {
      out.write(bytes);
    }
    contents[slot] = bytes;
    checkOwn(files.getFileStatus(path(slot)));
  }

  private void read() throws IOException {
    int slot = slot(true);
    if (slot < 0) {
      return;
    }
    calls++;
    byte[] found = new byte[contents[slot].length];
    try (FSDataInputStream in = files.open(path(slot))) {
      in.readFully(found);
      check(in.read() < 0, "it is longer than it was");
    }
    if (!Arrays.equals(contents[slot], found)) {
      wrong(path(slot) + " has other bytes than were written");
    }
  }

  private void append() throws IOException {
    int slot = slot(true);
    if (slot < 0 || contents[slot].length > MOST_BYTES / 2) {
      return;
    }
    byte[] more = bytes();
    calls += more.length == 0 ? 2 : 3;
    try (OutputStream out = files.append(path(slot))) {
      out.write(more);
    }
    int before = contents[slot].length;
    contents[slot] = Arrays.copyOf(contents[slot], before + more.length);
    System.arraycopy(more, 0, contents[slot], before, more.length);
  }

  private void truncate() throws IOException {
    int slot = slot(true);
    if (slot >= 0) {
      calls++;
      int length = random.nextInt(contents[slot].length + 1);
      check(files.truncate(path(slot), length), "it is not cut at once");
      contents[slot] = Arrays.copyOf(contents[slot], length);
    }
  }

  private void directory() throws IOException {
    Path deep = new Path(work, "d/e/f");
    calls += 3;
    check(files.mkdirs(deep, PRIVATE), "no directory");
    checkOwn(files.getFileStatus(deep));
    check(files.delete(new Path(work, "d"), true), "nothing was deleted");
  }

  private void rename() throws IOException {
    int from = slot(true);
    int to = slot(false);
    if (from >= 0 && to >= 0) {
      calls++;
      check(files.rename(path(from), path(to)), "it is not renamed");
      contents[to] = contents[from];
      contents[from] = null;
    }
  }

  private void delete() throws IOException {
    int slot = anySlot();
    calls++;
    boolean there = contents[slot] != null;
    contents[slot] = null;
    check(files.delete(path(slot), false) == there, "deleted where there is nothing, or not");
  }

  /** Another user sees what an entry lets him see, and no longer. */
  private void acl() throws IOException {
    Path shared = new Path("/home/" + name + "/shared");
    FileSystem others = clients.get(peer);
    calls += 5;
    files.modifyAclEntries(shared, AclEntry.parseAclSpec("user:" + peer + ":r-x", true));
    check(others.listStatus(shared).length == 1, "nothing is shared");
    check(files.getAclStatus(shared).getEntries().size() == 2, "another ACL");
    files.removeAcl(shared);
    Refusals.expect(client, peer, "list " + shared, () -> others.listStatus(shared));
  }

  private void attribute() throws IOException {
    int slot = slot(true);
    if (slot >= 0) {
      byte[] value = bytes();
      calls += 3;
      files.setXAttr(path(slot), "user.soak", value);
      check(Arrays.equals(value, files.getXAttr(path(slot), "user.soak")), "another value");
      files.removeXAttr(path(slot), "user.soak");
    }
  }

  private void permission() throws IOException {
    int slot = slot(true);
    if (slot >= 0) {
      FsPermission mode = new FsPermission((short) (0600 | random.nextInt(0100)));
      calls += 2;
      files.setPermission(path(slot), mode);
      FsPermission found = files.getFileStatus(path(slot)).getPermission();
      check(found.toShort() == mode.toShort(), found + " instead of " + mode);
    }
  }

  private void properties() throws IOException {
    int slot = slot(true);
    if (slot >= 0) {
      long time = 1_000_000_000_000L + random.nextInt(1_000_000_000);
      calls += 4;
      files.setTimes(path(slot), time, -1);
      files.setOwner(path(slot), null, name);
      check(files.setReplication(path(slot), (short) (1 + random.nextInt(3))), "no replication");
      long found = files.getFileStatus(path(slot)).getModificationTime();
      check(found == time, found + " instead of " + time);
    }
  }

  private void summary() throws IOException {
    calls += 2;
    long count = files.getContentSummary(work).getFileCount();
    long expected = Arrays.stream(contents).filter(each -> each != null).count();
    check(count == expected, count + " files instead of " + expected);
    check(files.getStatus().getCapacity() > 0, "no space");
  }

  private void refusal() throws IOException {
    calls++;
    refusals.one(client);
  }

  /** Whom this host does not know sees what everybody sees, and changes nothing. */
  private void stranger() throws IOException {
    FileSystem strangers = clients.get("stranger");
    calls += 3;
    check(strangers.listStatus(new Path("/public")).length == 1, "nothing is public");
    Path theirs = new Path("/public/" + name);
    Refusals.expect(client, "stranger", "make " + theirs, () -> strangers.mkdirs(theirs));
    Path own = new Path("/home/" + name + "/private");
    Refusals.expect(client, "stranger", "list " + own, () -> strangers.listStatus(own));
  }
}
