import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.io.PrintStream;
import java.io.RandomAccessFile;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.security.PrivilegedExceptionAction;
import java.util.Arrays;
import java.util.EnumSet;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.CreateFlag;
import org.apache.hadoop.fs.FSDataInputStream;
import org.apache.hadoop.fs.FSDataOutputStream;
import org.apache.hadoop.fs.FsShell;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.hdfs.DFSOutputStream;
import org.apache.hadoop.hdfs.DistributedFileSystem;
import org.apache.hadoop.hdfs.HdfsConfiguration;
import org.apache.hadoop.hdfs.protocol.DatanodeInfo;
import org.apache.hadoop.io.IOUtils;
import org.apache.hadoop.security.UserGroupInformation;
import org.apache.hadoop.util.ToolRunner;

/**
 * What an unmodified client comes through while it writes a block, and what it is told where it
 * doesn't. In the directory of {@link Services}, whose "root" has room for 64 MiB.
 */
final class Recovery {
  private static final String POLICY = "dfs.client.block.write.replace-datanode-on-failure.policy";

  private Services services;
  private DistributedFileSystem client;
  private int files;

  private void serve(int dataNodes) throws Exception {
    if (services != null) {
      services.killAll();
    }
    services = new Services(dataNodes);
    services.start();
    client = services.client(new HdfsConfiguration());
  }

  private static org.apache.hadoop.fs.Path hdfs(String path) {
    return new org.apache.hadoop.fs.Path(path);
  }

  private static String onMount(String path) throws IOException {
    return Files.readString(Path.of("root" + path));
  }

  private static void expect(Object expected, Object got) {
    if (!expected.equals(got)) {
      throw new AssertionError("expected: " + expected + "\nbut it is: " + got);
    }
  }

  /** The rest is what the server was doing. */
  private static String firstLine(IOException e) {
    return e.getMessage().lines().findFirst().orElse("");
  }

  /** Something that happens to the services while a block is written. */
  private interface Event {
    void happen(FSDataOutputStream writer) throws Exception;
  }

  /** Both before and after what happens something is written, by one stream. */
  private void writeThrough(String name, String policy, int replication, Event event)
      throws Exception {
    Configuration configuration = new HdfsConfiguration();
    configuration.set(POLICY, policy);
    String path = "/file" + files++;
    long start = System.nanoTime();
    try (DistributedFileSystem own = services.client(configuration);
        FSDataOutputStream out = own.create(hdfs(path), (short) replication)) {
      out.write("before, ".getBytes(StandardCharsets.UTF_8));
      out.hsync();
      event.happen(out);
      expect("before, ", onMount(path));
      out.write("after".getBytes(StandardCharsets.UTF_8));
    }
    expect("before, after", onMount(path));
    expect(true, client.isFileClosed(hdfs(path)));
    System.out.printf(
        "%s, policy %s, %d replicas: the writer went on within %.1f s%n",
        name, policy, replication, (System.nanoTime() - start) / 1e9);
  }

  private void restart(Services.Service dataNode) throws Exception {
    dataNode.end();
    dataNode.start();
    dataNode.awaitReady();
  }

  private void theOnlyDataNodeIsRestarted() throws Exception {
    serve(1);
    for (int replication : new int[] {1, 3}) {
      for (String policy : new String[] {"DEFAULT", "ALWAYS", "NEVER"}) {
        writeThrough(
            "the only DataNode restarted",
            policy,
            replication,
            writer -> restart(services.dataNodes.get(0)));
      }
    }
  }

  /** As a client begins to write. It is down for as long as a restart of its unit takes. */
  private void theOnlyDataNodeIsDownAtFirst() throws Exception {
    serve(1);
    Files.writeString(Path.of("small"), "put");
    services.dataNodes.get(0).end();
    long start = System.nanoTime();
    Thread restart =
        new Thread(
            () -> {
              try {
                Thread.sleep(3000);
                services.dataNodes.get(0).start();
              } catch (IOException | InterruptedException e) {
                throw new IllegalStateException(e);
              }
            });
    restart.start();
    expect("", put("small", "/down-at-first"));
    restart.join();
    expect("put", onMount("/down-at-first"));
    System.out.printf(
        "the only DataNode down for 3 s as a file is put: it is there after %.1f s%n",
        (System.nanoTime() - start) / 1e9);
    services.dataNodes.get(0).end();
    expect(
        "put: File /down._COPYING_ could only be written to 0 of the 1 minReplication nodes. There are 1"
            + " datanode(s) running and 1 node(s) are excluded in this operation.",
        put("small", "/down").lines().findFirst().orElse(""));
  }

  /** A client that asks again, as it does not if not told to, goes on where it was. */
  private void theNameNodeIsRestartedAmidAFile() throws Exception {
    serve(1);
    Configuration patient = new HdfsConfiguration();
    patient.setBoolean("dfs.client.retry.policy.enabled", true);
    patient.setLong("dfs.client.read.prefetch.size", 1 << 20);
    int blocks = 24;
    byte[] block = new byte[1 << 20];
    long start = System.nanoTime();
    try (DistributedFileSystem own = services.client(patient);
        FSDataOutputStream out = own.create(hdfs("/long"), true, 4096, (short) 1, block.length)) {
      for (int i = 0; i < blocks; i++) {
        Arrays.fill(block, (byte) i);
        out.write(block);
        if (i == blocks / 2) {
          restartNameNode();
        }
      }
    }
    System.out.printf(
        "the NameNode restarted amid a put: it ends after %.1f s%n",
        (System.nanoTime() - start) / 1e9);
    start = System.nanoTime();
    try (DistributedFileSystem own = services.client(patient);
        FSDataInputStream in = own.open(hdfs("/long"))) {
      for (int i = 0; i < blocks; i++) {
        in.readFully(block);
        expect(i, (int) block[0]);
        expect(i, (int) block[block.length - 1]);
        if (i == 1) {
          restartNameNode();
        }
      }
      expect(-1, in.read());
    }
    System.out.printf(
        "the NameNode restarted amid a get: it ends after %.1f s%n",
        (System.nanoTime() - start) / 1e9);
  }

  /** The client goes on meanwhile. */
  private void restartNameNode() throws Exception {
    services.nameNode.end();
    services.nameNode.start();
  }

  private void oneOfSeveralIsKilled() throws Exception {
    serve(3);
    for (String policy : new String[] {"DEFAULT", "ALWAYS"}) {
      writeThrough("the DataNode killed, and there are others", policy, 3, this::killItsDataNode);
    }
  }

  /** For good. */
  private void killItsDataNode(FSDataOutputStream writer) throws Exception {
    DatanodeInfo[] pipeline = ((DFSOutputStream) writer.getWrappedStream()).getPipeline();
    services.dataNodeAt(pipeline[0].getXferPort()).kill();
  }

  /** {@return what the client's shell says when it puts a file} */
  private String put(String local, String path) throws Exception {
    Configuration configuration = new HdfsConfiguration();
    configuration.set("fs.defaultFS", client.getUri().toString());
    ByteArrayOutputStream said = new ByteArrayOutputStream();
    PrintStream before = System.err;
    System.setErr(new PrintStream(said, true));
    try {
      FsShell shell = new FsShell(configuration);
      UserGroupInformation.createRemoteUser(System.getProperty("user"))
          .doAs(
              (PrivilegedExceptionAction<Integer>)
                  () -> ToolRunner.run(shell, new String[] {"-put", local, path}));
    } finally {
      System.setErr(before);
    }
    return said.toString().trim();
  }

  private void noSpaceIsToldAsSuch() throws Exception {
    serve(1);
    try (RandomAccessFile large = new RandomAccessFile("large", "rw")) {
      large.setLength(100 << 20);
    }
    String said = put("large", "/large");
    System.out.println("a full file system: " + said);
    expect("put: No space left on device: /large._COPYING_", said);
  }

  private void quotaIsToldAsSuch() throws Exception {
    FSDataOutputStream out = client.create(hdfs("/limited"));
    out.write("within".getBytes(StandardCharsets.UTF_8));
    out.hsync();
    Files.createFile(Path.of("quota"));
    String told = "none";
    try {
      out.write("beyond".getBytes(StandardCharsets.UTF_8));
      out.hsync();
    } catch (IOException e) {
      told = firstLine(e);
    }
    System.out.println("a quota: " + told);
    Files.delete(Path.of("quota"));
    expect("Disk quota exceeded: /limited", told);
    IOUtils.closeStream(out);
    expect("within", onMount("/limited"));
  }

  /** The first call of a client after its NameNode died fails, which is not the subject here. */
  private void reconnect() {
    try {
      client.exists(hdfs("/"));
    } catch (IOException e) {
      // As it should.
    }
  }

  private void aFileThatNobodyMayWriteIsWrittenByWhoMadeIt() throws Exception {
    String path = "/read-only";
    try (FSDataOutputStream out =
        client.create(
            hdfs(path),
            new FsPermission((short) 0444),
            EnumSet.of(CreateFlag.CREATE),
            4096,
            (short) 1,
            1 << 20,
            null)) {
      out.write("made".getBytes(StandardCharsets.UTF_8));
      out.hsync();
      services.nameNode.kill();
      services.nameNode.start();
      services.nameNode.awaitReady();
      reconnect();
      out.write(" read-only".getBytes(StandardCharsets.UTF_8));
    }
    expect("made read-only", onMount(path));
    expect("r--r--r--", client.getFileStatus(hdfs(path)).getPermission().toString());
    String told = "nothing";
    try {
      client.append(hdfs(path)).close();
    } catch (IOException e) {
      told = firstLine(e);
    }
    expect(
        "Permission denied: user=USER, access=WRITE, inode=\"/read-only\":USER:GROUP:-r--r--r--"
            .replace("USER", System.getProperty("user"))
            .replace("GROUP", client.getFileStatus(hdfs(path)).getGroup()),
        told);
    System.out.println("a file of mode 0444: written by who made it");
  }

  public static void main(String... arguments) throws Exception {
    Recovery recovery = new Recovery();
    recovery.theOnlyDataNodeIsRestarted();
    recovery.theOnlyDataNodeIsDownAtFirst();
    recovery.theNameNodeIsRestartedAmidAFile();
    recovery.oneOfSeveralIsKilled();
    recovery.noSpaceIsToldAsSuch();
    recovery.quotaIsToldAsSuch();
    recovery.aFileThatNobodyMayWriteIsWrittenByWhoMadeIt();
    System.exit(0);
  }
}
