import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.EnumSet;
import java.util.List;
import java.util.Queue;
import java.util.Random;
import java.util.concurrent.ConcurrentLinkedQueue;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.atomic.AtomicInteger;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FSDataInputStream;
import org.apache.hadoop.fs.FSDataOutputStream;
import org.apache.hadoop.hdfs.DistributedFileSystem;
import org.apache.hadoop.hdfs.HdfsConfiguration;
import org.apache.hadoop.hdfs.client.HdfsDataOutputStream;
import org.apache.hadoop.hdfs.client.HdfsDataOutputStream.SyncFlag;
import org.apache.hadoop.io.IOUtils;

/**
 * Writers with Apache's client, under which NameNode and DataNode are killed at random moments and started
 * again. What hsync acknowledged must be there afterwards, by the client and by the mount, and
 * every writer must get on, appending where its stream broke.
 *
 * <p>Kills TIMES, in the directory of {@link Services}.
 */
final class Kills {
  private static final int WRITERS = 6;
  private static final long BLOCK = 1 << 20; // small, so that kills meet the ends of blocks, too
  private static final long FILE = 5 * BLOCK / 2;
  private static final long PATIENCE = TimeUnit.SECONDS.toNanos(120);

  private static final byte[] BYTES = new byte[1_000_003];

  private final Random random = new Random();
  private final Services services;
  private final List<Writer> writers = new ArrayList<>();
  private final Queue<Noted> finished = new ConcurrentLinkedQueue<>();
  private final AtomicInteger broken = new AtomicInteger();
  private final AtomicInteger appended = new AtomicInteger();
  private volatile boolean ended;
  private long checkedBytes;
  private int checkedFiles;

  /** A file, and as much of it as was acknowledged. */
  private record Noted(String path, long length) {}

  private Kills(Services services) {
    this.services = services;
  }

  private DistributedFileSystem client() throws IOException, InterruptedException {
    Configuration configuration = new HdfsConfiguration();
    configuration.setLong("dfs.blocksize", BLOCK);
    return services.client(configuration);
  }

  private static org.apache.hadoop.fs.Path hdfs(String path) {
    return new org.apache.hadoop.fs.Path(path);
  }

  /** The bytes of a file are those of its name. */
  private static byte[] bytes(String path, long offset, int size) {
    byte[] bytes = new byte[size];
    long at = offset + (path.hashCode() & 0xffffff);
    for (int done = 0; done < size; ) {
      int from = (int) ((at + done) % BYTES.length);
      int part = Math.min(size - done, BYTES.length - from);
      System.arraycopy(BYTES, from, bytes, done, part);
      done += part;
    }
    return bytes;
  }

  /** Writes one file after the other, and appends to one at which it was interrupted. */
  private final class Writer extends Thread {
    private final Random sizes = new Random();
    private int files;
    private volatile Noted noted;
    /** So many times something was acknowledged. */
    private volatile int acknowledged;

    Writer(int number) {
      super("writer-" + number);
      next();
    }

    private void next() {
      noted = new Noted("/" + getName() + "-" + files++, 0);
    }

    @Override
    public void run() {
      boolean begun = false;
      try (DistributedFileSystem client = client()) {
        while (!ended) {
          try {
            if (write(client, begun)) {
              begun = false;
              continue;
            }
          } catch (IOException e) {
            Thread.sleep(50); // it is not there again
          }
          begun = true;
        }
      } catch (IOException | InterruptedException e) {
        throw new IllegalStateException(e);
      }
    }

    /** {@return whether the file is complete} */
    private boolean write(DistributedFileSystem client, boolean begun)
        throws IOException, InterruptedException {
      String path = noted.path();
      FSDataOutputStream out = begun ? goOn(client, path) : client.create(hdfs(path));
      try {
        while (out.getPos() < FILE) {
          if (ended) {
            return false;
          }
          out.write(bytes(path, out.getPos(), 1 + sizes.nextInt(150_000)));
          if (sizes.nextBoolean()) {
            out.hsync();
          } else {
            ((HdfsDataOutputStream) out).hsync(EnumSet.of(SyncFlag.UPDATE_LENGTH));
          }
          note(path, out.getPos());
          Thread.sleep(sizes.nextInt(20)); // leaves time to the services
        }
        out.close();
        note(path, out.getPos());
      } catch (IOException e) {
        broken.incrementAndGet();
        throw e;
      } finally {
        IOUtils.closeStream(out); // it may fail once more
      }
      finished.add(noted);
      next();
      return true;
    }

    private void note(String path, long length) {
      noted = new Noted(path, length);
      acknowledged++;
    }

    private FSDataOutputStream goOn(DistributedFileSystem client, String path)
        throws IOException, InterruptedException {
      if (!client.exists(hdfs(path))) {
        return client.create(hdfs(path));
      }
      while (!client.recoverLease(hdfs(path))) {
        Thread.sleep(100);
      }
      FSDataOutputStream out = client.append(hdfs(path));
      appended.incrementAndGet();
      return out;
    }
  }

  private void run(int times) throws Exception {
    new Random(7).nextBytes(BYTES);
    services.start();
    for (int i = 0; i < WRITERS; i++) {
      writers.add(new Writer(i));
      writers.get(i).start();
    }
    int[] killed = new int[3];
    for (int i = 1; i <= times; i++) {
      Thread.sleep(random.nextInt(1000));
      int victim = random.nextInt(3);
      killed[victim]++;
      List<Noted> noted = kill(victim);
      int[] acknowledged = writers.stream().mapToInt(writer -> writer.acknowledged).toArray();
      check(noted, i);
      for (Noted file = finished.poll(); file != null; file = finished.poll()) {
        check(List.of(file), i);
        Files.delete(onMount(file.path()));
        checkedFiles++;
        checkedBytes += file.length();
      }
      awaitProgress(acknowledged, i);
      if (i % 20 == 0) {
        System.out.println(i + " kills");
      }
    }
    ended = true;
    for (Writer writer : writers) {
      writer.join();
      check(List.of(writer.noted), times);
      checkedBytes += writer.noted.length();
      checkedFiles++;
    }
    System.out.printf(
        "killed %d times, the NameNode alone %d, the DataNode alone %d, both %d:%n"
            + "all of %,d acknowledged bytes of %,d files are there; streams that broke: %,d, appends since"
            + " then: %,d%n",
        times, killed[0], killed[1], killed[2], checkedBytes, checkedFiles, broken.get(),
        appended.get());
  }

  /** {@return what was acknowledged before the services were killed; they run again} */
  private List<Noted> kill(int victim) throws Exception {
    List<Services.Service> victims =
        switch (victim) {
          case 0 -> List.of(services.nameNode);
          case 1 -> List.of(services.dataNodes.get(0));
          default -> List.of(services.nameNode, services.dataNodes.get(0));
        };
    for (Services.Service service : victims) {
      service.kill();
    }
    List<Noted> noted = writers.stream().map(writer -> writer.noted).toList();
    for (Services.Service service : victims) {
      service.start();
    }
    for (Services.Service service : victims) {
      service.awaitReady();
    }
    return noted;
  }

  private static Path onMount(String path) {
    return Path.of("root" + path);
  }

  private void check(List<Noted> files, int kills) throws Exception {
    try (DistributedFileSystem client = client()) {
      for (Noted file : files) {
        if (file.length() == 0) {
          continue;
        }
        byte[] expected = bytes(file.path(), 0, (int) file.length());
        byte[] onMount = Files.readAllBytes(onMount(file.path()));
        compare(file, expected, onMount, "on the mount", kills);
        byte[] read = new byte[expected.length];
        try (FSDataInputStream in = client.open(hdfs(file.path()))) {
          in.readFully(0, read);
        }
        compare(file, expected, read, "as the client reads it", kills);
      }
    }
  }

  private static void compare(Noted file, byte[] expected, byte[] got, String where, int kills) {
    int same = Arrays.mismatch(expected, got);
    if (same >= 0 && same < expected.length) {
      System.out.printf(
          "after %d kills %s is wrong at %,d %s: %,d bytes were acknowledged, it has %,d%n",
          kills, file.path(), same, where, expected.length, got.length);
      System.exit(1);
    }
  }

  private void awaitProgress(int[] acknowledged, int kills) throws InterruptedException {
    long deadline = System.nanoTime() + PATIENCE;
    for (int i = 0; i < WRITERS; i++) {
      while (writers.get(i).acknowledged == acknowledged[i]) {
        if (System.nanoTime() > deadline || !writers.get(i).isAlive()) {
          System.out.printf("after %d kills %s does not get on%n", kills, writers.get(i).noted);
          System.exit(1);
        }
        Thread.sleep(10);
      }
    }
  }

  /** Takes how often. */
  public static void main(String... arguments) throws Exception {
    new Kills(new Services(1)).run(Integer.parseInt(arguments[0]));
    System.exit(0);
  }
}
