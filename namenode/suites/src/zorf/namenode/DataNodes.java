package zorf.namenode;

import java.io.BufferedReader;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.ArrayList;
import java.util.HexFormat;
import java.util.List;
import java.util.concurrent.CopyOnWriteArrayList;
import java.util.concurrent.ThreadLocalRandom;
import java.util.regex.Matcher;
import java.util.regex.Pattern;

/** DataNodes on this host for a scratch directory, with what a NameNode must be told of them. */
public final class DataNodes implements AutoCloseable {
  private static final Pattern LISTENS = Pattern.compile(".*listens at .*:([0-9]+)");

  private final List<Process> processes = new CopyOnWriteArrayList<>();
  private final Path key;
  private final Path topology;

  /**
   * Starts them.
   *
   * @param racks the rack of each, null for one and the same
   */
  public DataNodes(ScratchDirectory directory, int count, String[] racks) throws IOException {
    key = Path.of(directory.path() + ".key");
    topology = Path.of(directory.path() + ".topology");
    Files.deleteIfExists(key);
    Files.createFile(
        key, PosixFilePermissions.asFileAttribute(PosixFilePermissions.fromString("rw-------")));
    byte[] secret = new byte[32];
    ThreadLocalRandom.current().nextBytes(secret);
    Files.writeString(key, "1 " + HexFormat.of().formatHex(secret) + "\n");
    // Some suites never shut down what they start.
    Runtime.getRuntime().addShutdownHook(new Thread(this::close, "stop DataNodes"));
    List<String> lines = new ArrayList<>();
    for (int i = 0; i < count; i++) {
      int port = start(directory.path());
      lines.add(i + 1 + " 127.0.0.1:" + port + " " + (racks == null ? "/default-rack" : racks[i]));
    }
    Files.write(topology, lines);
  }

  private int start(Path root) throws IOException {
    String program = System.getProperty("zorf.suites.datanode");
    Process process =
        new ProcessBuilder(
                program, "--root", root.toString(), "--key", key.toString(), "--port", "0")
            .redirectErrorStream(true)
            .start();
    processes.add(process);
    BufferedReader told = process.inputReader();
    for (String line = told.readLine(); line != null; line = told.readLine()) {
      System.err.println(line);
      Matcher matcher = LISTENS.matcher(line);
      if (matcher.matches()) {
        Thread reader = new Thread(() -> told.lines().forEach(System.err::println), "datanode");
        reader.setDaemon(true);
        reader.start();
        return Integer.parseInt(matcher.group(1));
      }
    }
    throw new IOException("the DataNode ended: " + program);
  }

  /** {@return the options of a NameNode that sends clients to them} */
  List<String> options() {
    return processes.isEmpty()
        ? List.of()
        : List.of(
            "--policy", "shared", "--key", key.toString(), "--topology", topology.toString());
  }

  @Override
  public void close() {
    processes.forEach(Process::destroyForcibly);
  }
}
