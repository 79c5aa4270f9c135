package zorf.soak;

import java.io.IOException;
import java.io.RandomAccessFile;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.util.Random;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockLocations;
import org.apache.hadoop.hdfs.server.namenode.zorf.FileStatus;
import org.apache.hadoop.hdfs.server.namenode.zorf.LocatedFileStatus;
import org.apache.hadoop.hdfs.server.namenode.zorf.StatusLayout;

/** Status, mode, replication and block group factor of one thread's own file. */
final class FileChecks implements Checks {
  private static final long LENGTH = (5 << 20) + 1;
  private static final long ZORF_BLOCK_SIZE = 4 << 20;
  private static final long FS_BLOCK_SIZE = 4096;
  private static final int DEFAULT_REPLICAS = 2;

  private final Random random;
  private final StatusLayout layout = new StatusLayout(Natives.getFileStatusFormatNative());
  private final Actor owner;
  private final String file;
  private final String link;
  private final String dangling;
  private final String secret;
  private final long inode;

  private int mode = 0644;
  private int replicas = DEFAULT_REPLICAS;
  /** The replicas that the data has. */
  private int laidOut = DEFAULT_REPLICAS;

  private int factor;

  FileChecks(Path directory, Actor owner, Random random) throws IOException {
    this.random = random;
    this.owner = owner;
    Path path = directory.resolve("file");
    file = path.toString();
    try (RandomAccessFile sparse = new RandomAccessFile(path.toFile(), "rw")) {
      sparse.setLength(LENGTH);
    }
    give(path, owner, mode);
    inode = (Long) Files.getAttribute(path, "unix:ino");
    link = Files.createSymbolicLink(directory.resolve("link"), path).toString();
    dangling =
        Files.createSymbolicLink(directory.resolve("dangling"), Paths.get("nowhere")).toString();
    Path locked = Files.createDirectory(directory.resolve("private"));
    secret = Files.createFile(locked.resolve("secret")).toString();
    give(locked, owner, 0700);
    give(Paths.get(secret), owner, 0600);
  }

  /** Makes {@code owner} own a path that has these permission bits. */
  static void give(Path path, Actor owner, int mode) throws IOException {
    Files.setAttribute(path, "unix:uid", (int) owner.uid);
    Files.setAttribute(path, "unix:gid", (int) owner.gid);
    Files.setAttribute(path, "unix:mode", mode);
  }

  @Override
  public void check(Actor actor) throws Exception {
    switch (random.nextInt(12)) {
      case 0:
        checkStatus(layout.decode(Natives.getFileStatusNative(file, true)));
        break;
      case 1:
        checkLinks();
        break;
      case 2:
        Expect.equal("inode", inode, Natives.getINum(random.nextBoolean() ? file : link));
        Expect.missing("stat failed for " + dangling, () -> Natives.getINum(dangling));
        break;
      case 3:
        checkLinkTarget();
        break;
      case 4:
        checkSecret(actor);
        break;
      case 5:
        checkFailedPath(actor);
        break;
      case 6:
        setMode(actor);
        break;
      case 7:
        setReplication(actor);
        break;
      case 8:
        setFactor(actor);
        break;
      case 9:
        checkBlockSize(actor);
        break;
      case 10:
        // As root, whoever asks.
        checkBlocks(
            BlockLocations.decode(
                Natives.getBlockLocationsNative(file, random.nextInt(9000), 2 * LENGTH, null)));
        break;
      default:
        checkLocatedStatus(actor);
        break;
    }
  }

  private void checkStatus(FileStatus status) {
    Expect.equal("inode", inode, status.inode());
    Expect.equal("mode of " + file, 0100000 | mode, status.mode());
    Expect.equal("size", LENGTH, status.size());
    Expect.equal("uid", owner.uid, status.uid());
    Expect.equal("gid", owner.gid, status.gid());
  }

  private void checkLinks() throws Exception {
    checkStatus(layout.decode(Natives.getFileStatusNative(link, true)));
    FileStatus self = layout.decode(Natives.getFileStatusNative(link, false));
    Expect.equal("mode of " + link, 0120777, self.mode());
    Expect.equal("size of " + link, (long) file.length(), self.size());
    Expect.missing(dangling, () -> Natives.getFileStatusNative(dangling, true));
    Expect.missing(file + "/below", () -> Natives.getFileStatusNative(file + "/below", false));
    Expect.failing(
        IOException.class,
        "Not a directory: stat failed for " + file + "/below",
        () -> Natives.getINum(file + "/below"));
  }

  private void checkLinkTarget() throws Exception {
    int size = 1 + random.nextInt(6000);
    byte[] target = Natives.getLinkTargetNative(link, size);
    Expect.equal(
        "link target",
        file.substring(0, Math.min(size, file.length())),
        new String(target, StandardCharsets.US_ASCII));
    Expect.invalid("", () -> Natives.getLinkTargetNative(file, size));
  }

  private void checkSecret(Actor actor) throws Exception {
    if (actor.mayChange(owner)) {
      FileStatus status = layout.decode(Natives.getFileStatusNative(secret, true));
      Expect.equal("mode of " + secret, 0100600, status.mode());
      return;
    }
    Expect.denied(secret, () -> Natives.getFileStatusNative(secret, random.nextBoolean()));
    Expect.denied("stat failed for " + secret, () -> Natives.getINum(secret));
    Expect.denied(secret, () -> Natives.getBlockSizeNative(secret, null));
    Expect.denied(secret, () -> Natives.getBlockLocationsNative(secret, 0, 1, null));
    Expect.denied(
        secret, () -> Natives.getLocatedFileStatusNative(secret, true, true, false));
    Expect.denied(secret, () -> Natives.setPermission(secret, (short) 0777));
    Expect.denied("", () -> Natives.setReplication(secret, (short) 2, false));
    Expect.denied("", () -> Natives.setBGF(secret, 2));
    Expect.denied("", () -> Natives.getLinkTargetNative(secret, 9));
  }

  private void checkFailedPath(Actor actor) {
    String missing = file + "/is/no/directory";
    String above = secret.substring(0, secret.lastIndexOf('/'));
    String reachable = actor.mayChange(owner) ? secret : above;
    boolean diagnosed = SoakLog.delivers("debug");
    Expect.equal(
        "failed path",
        diagnosed ? reachable : "",
        new String(Natives.getFailedPathNative(secret, true), StandardCharsets.US_ASCII));
    Expect.equal(
        "failed path",
        diagnosed ? file : "",
        new String(Natives.getFailedPathNative(missing, false), StandardCharsets.US_ASCII));
  }

  private void setMode(Actor actor) throws Exception {
    // The same for group and others: the supplementary groups of an earlier switch stay.
    int others = random.nextInt(8);
    int bits = random.nextInt(16) << 9 | 0600 | random.nextInt(2) << 6 | others << 3 | others;
    short permission = (short) bits;
    if (actor.mayChange(owner)) {
      Expect.that(Natives.setPermission(file, permission), "setPermission");
      mode = permission & 01777;
    } else {
      Expect.notPermitted(file, () -> Natives.setPermission(file, permission));
    }
  }

  private void setReplication(Actor actor) throws Exception {
    short wanted = (short) random.nextInt(18);
    boolean restripe = random.nextBoolean();
    String message = "failed to set replication for " + file + " replication " + wanted;
    if (!actor.has(4, owner, mode)) {
      Expect.denied("", () -> Natives.setReplication(file, wanted, restripe));
    } else if (wanted < 1 || wanted > 16) {
      Expect.invalid(message, () -> Natives.setReplication(file, wanted, restripe));
    } else if (!actor.has(2, owner, mode)) {
      Expect.denied(message, () -> Natives.setReplication(file, wanted, restripe));
    } else {
      Expect.that(Natives.setReplication(file, wanted, restripe), "setReplication");
      replicas = wanted;
      laidOut = restripe ? wanted : laidOut;
    }
  }

  private void setFactor(Actor actor) throws Exception {
    int wanted = random.nextInt(1026);
    if (wanted < 1 || wanted > 1024) {
      Expect.invalid("Invalid BGF(" + wanted + ")", () -> Natives.setBGF(file, wanted));
    } else if (!actor.has(4, owner, mode)) {
      Expect.denied("", () -> Natives.setBGF(file, wanted));
    } else if (!actor.has(2, owner, mode)) {
      Expect.denied("Failed to set BGF for " + file, () -> Natives.setBGF(file, wanted));
    } else {
      Expect.that(Natives.setBGF(file, wanted), "setBGF");
      factor = wanted;
    }
  }

  private void checkSize(long size) {
    long grouped = factor == 0 ? SharedFiles.BLOCK_SIZE : factor * FS_BLOCK_SIZE;
    Expect.that(
        size == ZORF_BLOCK_SIZE || size == grouped,
        "block size " + size + " instead of " + ZORF_BLOCK_SIZE + " or " + grouped);
  }

  private void checkBlockSize(Actor actor) throws Exception {
    if (actor.has(4, owner, mode)) {
      checkSize(Natives.getBlockSizeNative(file, null));
    } else {
      Expect.denied(file, () -> Natives.getBlockSizeNative(file, null));
    }
  }

  private void checkBlocks(BlockLocations blocks) {
    // Without locations the answer comes from the directive, with them from the data.
    boolean located = blocks.blockCount() > 0;
    Expect.equal("replicas", located ? laidOut : replicas, blocks.replicaCount());
    checkSize(blocks.blockSize());
  }

  private void checkLocatedStatus(Actor actor) throws Exception {
    boolean needLocation = random.nextBoolean();
    boolean permission = random.nextBoolean();
    String path = random.nextBoolean() ? file : link;
    if (needLocation && !actor.has(4, owner, mode)) {
      Expect.denied(
          "", () -> Natives.getLocatedFileStatusNative(path, true, true, permission));
      return;
    }
    LocatedFileStatus located =
        LocatedFileStatus.decode(
            layout,
            Natives.getLocatedFileStatusNative(path, true, needLocation, permission),
            permission);
    checkStatus(located.status());
    Expect.equal("ACL flag", false, located.hasAcl());
    checkBlocks(located.locations().get());
  }
}
