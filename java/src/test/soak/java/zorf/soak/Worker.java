package zorf.soak;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.util.Arrays;
import java.util.List;
import java.util.Random;
import java.util.concurrent.locks.ReadWriteLock;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockPolicy;

/**
 * One thread: it switches to users, asks about its own files and the shared ones, and switches
 * back. The first one also changes what belongs to the whole process.
 */
final class Worker implements Runnable {
  private static final int[] UMASKS = {022, 027, 077, 0};
  private static final int MAX_CHECKS = 6;
  private static final int MAX_SWITCHES = 3;

  private final int number;
  private final Random random;
  private final Actor owner;
  private final SharedFiles shared;
  private final List<Checks> checks;
  private final ReadWriteLock pause;
  private final Watcher watcher;
  private Watcher.Claims claims;
  private Identity.Reader self;

  /** Null, or what ended this thread. */
  volatile Throwable failure;

  Worker(
      int number,
      Path directory,
      SharedFiles shared,
      ReadWriteLock pause,
      Watcher watcher,
      Random random)
      throws IOException {
    this.number = number;
    this.random = random;
    this.shared = shared;
    this.pause = pause;
    this.watcher = watcher;
    owner = Actor.user(number % Actor.USERS);
    Files.createDirectory(directory);
    checks =
        Arrays.asList(
            new NameChecks(random),
            new FileChecks(directory, owner, random),
            new AttributeChecks(directory, owner, random),
            new AclChecks(directory, owner, random),
            actor -> shared.ask(actor, random));
    FileChecks.give(directory, owner, 0755);
  }

  @Override
  public void run() {
    try (Identity.Reader reader = Identity.Reader.ofThisThread()) {
      self = reader;
      Path thread = Files.readSymbolicLink(Paths.get("/proc/thread-self"));
      claims = watcher.register(thread.getFileName().toString());
      while (!Soak.stopping()) {
        pause.readLock().lock();
        try {
          act(Actor.ROOT, random.nextInt(MAX_SWITCHES));
          if (number == 0) {
            changeTheProcess();
          }
        } finally {
          pause.readLock().unlock();
        }
      }
    } catch (Throwable e) {
      failure = e;
      Soak.stop();
    }
  }

  private Actor anyActor() {
    if (random.nextBoolean()) {
      return owner;
    }
    int i = random.nextInt(Actor.USERS + 1);
    return i < Actor.USERS ? Actor.user(i) : Actor.STRANGER;
  }

  /** Some checks as {@code actor}, with further switches among them. */
  private void act(Actor actor, int switches) throws Exception {
    check(actor);
    if (switches > 0) {
      Actor next = anyActor();
      claims.add(next);
      long handle = Natives.setFsUid(next.name);
      Expect.that(handle != 0, "no handle for " + next);
      expectIdentity("after the switch to " + next, next);
      Expect.equal("groups of " + next, next.groups, self.read().groups);
      act(next, switches - 1);
      Natives.setFsUid(handle);
      claims.remove(next);
      // The groups of the last switch stay.
      expectIdentity("after the switch back from " + next, actor);
      check(actor);
    } else if (random.nextInt(16) == 0) {
      Natives.setFsUid(0);
      expectIdentity("after giving back no handle", actor);
    }
  }

  private void check(Actor actor) throws Exception {
    for (int i = random.nextInt(MAX_CHECKS); i > 0; i--) {
      checks.get(random.nextInt(checks.size())).check(actor);
    }
    expectIdentity("after checks", actor);
  }

  private void expectIdentity(String when, Actor actor) throws IOException {
    Identity identity = self.read();
    Expect.that(identity.isOf(actor), when + ": " + identity + " instead of " + actor);
  }

  private void changeTheProcess() throws IOException {
    int mask = UMASKS[random.nextInt(UMASKS.length)];
    Expect.equal("setUMask", 1, Natives.setUMask((short) mask));
    Expect.equal("umask", mask, self.read().umask);
    BlockPolicy policy = BlockPolicy.values()[random.nextInt(BlockPolicy.values().length)];
    Expect.equal(
        "getBlkCmd",
        policy.ordinal(),
        Natives.getBlkCmd(policy.bytes(), random.nextBoolean() ? 0 : SharedFiles.BLOCK_SIZE));
    Expect.equal("getBlkCmd", -1, Natives.getBlkCmd(new byte[] {'n', 'o'}, 0));
  }
}
