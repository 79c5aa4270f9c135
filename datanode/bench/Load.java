import java.io.IOException;
import java.io.OutputStream;
import java.io.PrintStream;
import java.lang.management.ManagementFactory;
import java.net.URI;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.List;
import java.util.Random;
import java.util.concurrent.Callable;
import java.util.concurrent.ExecutionException;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FSDataInputStream;
import org.apache.hadoop.fs.FSDataOutputStream;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.permission.FsPermission;

/**
 * Reads and writes through Apache's client, on each of several services in turn, all in this one JVM.
 *
 * <p>Load.java SCRATCH BYTES FILES ROUNDS NAME=URI=DATANODE=NAMENODE..., where SCRATCH is a folder of the
 * file system that the services use, BYTES the size of the large file, FILES the number of small ones, and
 * the last two are process ids. Prints a line for each measurement, its fields between tabs: round, part,
 * streams, service, operations, bytes, seconds, processor seconds of the DataNode, of the NameNode and of
 * this JVM, and the median and the 99th percentile of an operation in milliseconds.
 */
public final class Load {
  private static final int PIECE = 1 << 20;
  private static final int RANDOM_PIECE = 64 << 10;
  private static final int SMALL_FILE = 10 << 10;
  private static final Path PROC = Path.of("/proc");
  private static final com.sun.management.OperatingSystemMXBean SYSTEM =
      (com.sun.management.OperatingSystemMXBean) ManagementFactory.getOperatingSystemMXBean();

  private record Service(String name, FileSystem files, long datanode, long namenode) {}

  /** What one stream does; it returns how long each of its operations took, in ns. */
  private interface Work {
    List<Long> run(int stream) throws IOException;
  }

  private interface Operation {
    void run() throws IOException;
  }

  private final byte[] content = new byte[PIECE];
  private final Path scratch;
  private final long bytes;
  private final int smallFiles;
  private final PrintStream out;
  /** Whether what is read is compared with what was written, and nothing told. */
  private final boolean rehearsal;

  private Load(Path scratch, long bytes, int smallFiles, boolean rehearsal) {
    this.scratch = scratch;
    this.bytes = bytes;
    this.smallFiles = smallFiles;
    this.rehearsal = rehearsal;
    this.out = rehearsal ? new PrintStream(PrintStream.nullOutputStream()) : System.out;
    new Random(1).nextBytes(content);
  }

  public static void main(String[] arguments) throws Exception {
    List<Service> services = new ArrayList<>();
    for (String argument : Arrays.asList(arguments).subList(4, arguments.length)) {
      String[] words = argument.split("=");
      services.add(
          new Service(words[0], connect(words[1]), Long.parseLong(words[2]), Long.parseLong(words[3])));
    }
    Path scratch = Path.of(arguments[0]);
    long bytes = Long.parseLong(arguments[1]);
    int smallFiles = Integer.parseInt(arguments[2]);
    // Until all that takes part is compiled.
    Load rehearsal = new Load(scratch, Math.min(bytes, 256L << 20), Math.min(smallFiles, 500), true);
    for (int i = 0; i < 2; i++) {
      rehearsal.round(i, services);
    }
    Load load = new Load(scratch, bytes, smallFiles, false);
    for (int round = 0; round < Integer.parseInt(arguments[3]); round++) {
      load.round(round, services);
      Collections.reverse(services);
    }
  }

  /** As a user without any privileges, in a folder of his. */
  private static FileSystem connect(String uri) throws Exception {
    Configuration conf = new Configuration();
    conf.setInt("dfs.replication", 1);
    // Apache's NameNode may hear of a block from the client before it does from the DataNode, and the
    // client then sleeps.
    conf.setInt("dfs.client.block.write.locateFollowingBlock.initial.delay.ms", 2);
    FileSystem superuser = FileSystem.newInstance(URI.create(uri), conf, System.getProperty("user.name"));
    org.apache.hadoop.fs.Path folder = new org.apache.hadoop.fs.Path("/bench");
    superuser.mkdirs(folder);
    superuser.setPermission(folder, new FsPermission((short) 0777));
    return FileSystem.newInstance(URI.create(uri), conf, "nobody");
  }

  private void round(int round, List<Service> services) throws Exception {
    for (int streams : new int[] {1, 4, 16}) {
      for (Service service : services) {
        large(round, service, streams);
      }
    }
    for (Service service : services) {
      small(round, service, 4);
    }
  }

  private void large(int round, Service service, int streams) throws Exception {
    long free = free();
    long part = bytes / streams / PIECE * PIECE;
    touchMemory();
    measure(round, "write", streams, service, part, stream -> write(service, path(stream), part));
    measure(round, "read", streams, service, part, stream -> read(service, path(stream), part));
    long pieces = Math.min(part, (bytes / 4) / streams) / RANDOM_PIECE;
    measure(round, "pread", streams, service, pieces * RANDOM_PIECE,
        stream -> readAnywhere(service, path(stream), part, pieces));
    service.files().delete(path(0).getParent(), true);
    awaitFree(free);
  }

  private void small(int round, Service service, int streams) throws Exception {
    int each = smallFiles / streams;
    measure(round, "put", streams, service, (long) each * SMALL_FILE, stream -> {
      List<Long> times = new ArrayList<>();
      for (int i = 0; i < each; i++) {
        org.apache.hadoop.fs.Path path = path(stream * each + i);
        time(times, () -> {
          try (FSDataOutputStream file = service.files().create(path)) {
            file.write(content, 0, SMALL_FILE);
          }
        });
      }
      return times;
    });
    measure(round, "get", streams, service, (long) each * SMALL_FILE, stream -> {
      List<Long> times = new ArrayList<>();
      byte[] got = new byte[SMALL_FILE];
      for (int i = 0; i < each; i++) {
        org.apache.hadoop.fs.Path path = path(stream * each + i);
        time(times, () -> {
          try (FSDataInputStream file = service.files().open(path)) {
            file.readFully(got);
          }
        });
        check(got, 0);
      }
      return times;
    });
    service.files().delete(path(0).getParent(), true);
  }

  private List<Long> write(Service service, org.apache.hadoop.fs.Path path, long size) throws IOException {
    List<Long> times = new ArrayList<>();
    try (FSDataOutputStream file = service.files().create(path)) {
      for (long at = 0; at < size; at += PIECE) {
        time(times, () -> file.write(content));
      }
    }
    return times;
  }

  private List<Long> read(Service service, org.apache.hadoop.fs.Path path, long size) throws IOException {
    List<Long> times = new ArrayList<>();
    byte[] got = new byte[PIECE];
    try (FSDataInputStream file = service.files().open(path)) {
      for (long at = 0; at < size; at += PIECE) {
        time(times, () -> file.readFully(got));
        check(got, 0);
      }
    }
    return times;
  }

  private List<Long> readAnywhere(
      Service service, org.apache.hadoop.fs.Path path, long size, long count) throws IOException {
    List<Long> times = new ArrayList<>();
    byte[] got = new byte[RANDOM_PIECE];
    Random random = new Random(count);
    try (FSDataInputStream file = service.files().open(path)) {
      for (long i = 0; i < count; i++) {
        long at = random.nextInt((int) (size / RANDOM_PIECE)) * (long) RANDOM_PIECE;
        time(times, () -> file.readFully(at, got, 0, RANDOM_PIECE));
        check(got, (int) (at % PIECE));
      }
    }
    return times;
  }

  private void check(byte[] got, int at) {
    if (rehearsal && !Arrays.equals(got, 0, got.length, content, at, at + got.length)) {
      throw new IllegalStateException("read otherwise than it was written");
    }
  }

  private static org.apache.hadoop.fs.Path path(int number) {
    return new org.apache.hadoop.fs.Path("/bench/files/" + number);
  }

  private static void time(List<Long> times, Operation operation) throws IOException {
    long start = System.nanoTime();
    operation.run();
    times.add(System.nanoTime() - start);
  }

  private void measure(int round, String part, int streams, Service service, long each, Work work)
      throws IOException, InterruptedException, ExecutionException {
    double datanode = processorSeconds(service.datanode());
    double namenode = processorSeconds(service.namenode());
    double own = SYSTEM.getProcessCpuTime() / 1e9;
    long start = System.nanoTime();
    List<Long> times = inThreads(streams, work);
    double seconds = (System.nanoTime() - start) / 1e9;
    own = SYSTEM.getProcessCpuTime() / 1e9 - own;
    datanode = processorSeconds(service.datanode()) - datanode;
    namenode = processorSeconds(service.namenode()) - namenode;
    Collections.sort(times);
    out.printf(
        "%d\t%s\t%d\t%s\t%d\t%d\t%.3f\t%.2f\t%.2f\t%.2f\t%.3f\t%.3f%n",
        round, part, streams, service.name(), times.size(), each * streams, seconds, datanode, namenode,
        own, times.get(times.size() / 2) / 1e6, times.get(times.size() * 99 / 100) / 1e6);
  }

  private static List<Long> inThreads(int streams, Work work)
      throws InterruptedException, ExecutionException {
    ExecutorService threads = Executors.newFixedThreadPool(streams);
    try {
      List<Callable<List<Long>>> tasks = new ArrayList<>();
      for (int stream = 0; stream < streams; stream++) {
        int number = stream;
        tasks.add(() -> work.run(number));
      }
      List<Long> times = new ArrayList<>();
      for (Future<List<Long>> done : threads.invokeAll(tasks)) {
        times.addAll(done.get());
      }
      return times;
    } finally {
      threads.shutdown();
    }
  }

  /** User's and system's time of a process, threads that ended included. */
  private static double processorSeconds(long process) throws IOException {
    String stat = Files.readString(PROC.resolve(process + "/stat"));
    String[] fields = stat.substring(stat.lastIndexOf(')') + 2).split(" ");
    return (Long.parseLong(fields[11]) + Long.parseLong(fields[12])) / 100.0;
  }

  private long free() throws IOException {
    return Files.getFileStore(scratch).getUnallocatedSpace();
  }

  /**
   * Memory that nobody has used for some seconds may have to come from the host of a virtual machine, at
   * the cost of whoever writes there first.
   */
  private void touchMemory() throws IOException {
    Path file = scratch.resolve("memory");
    try (OutputStream to = Files.newOutputStream(file)) {
      for (long at = 0; at < bytes; at += PIECE) {
        to.write(content);
      }
    }
    Files.delete(file);
  }

  /** Apache's DataNode removes deleted blocks in its own time, which must not be the next part's. */
  private void awaitFree(long before) throws IOException, InterruptedException {
    for (int i = 0; i < 300 && free() < before - bytes / 20; i++) {
      Thread.sleep(100);
    }
  }
}
