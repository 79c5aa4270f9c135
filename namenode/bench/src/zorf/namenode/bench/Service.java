package zorf.namenode.bench;

import java.io.IOException;
import java.lang.management.ManagementFactory;
import java.net.ServerSocket;
import java.net.URI;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.regex.Matcher;
import java.util.regex.Pattern;

/** A NameNode in a process of its own, and what it takes of the machine. */
final class Service implements AutoCloseable {
  private static final String HEAP = "-Xmx3g";
  private static final long START_MILLIS = 60_000;
  private static final double TICKS = 100; // of the kernel's accounts, a second
  private static final Pattern USED = Pattern.compile("used (\\d+)K");

  private final Process process;
  private final URI uri;

  private Service(Process process, URI uri) {
    this.process = process;
    this.uri = uri;
  }

  /** The one whose files are those below a directory. */
  static Service zorf(Path root) throws Exception {
    Files.createDirectories(root);
    int port = freePort();
    return started(
        port,
        List.of(
            "zorf.namenode.Main", "--root", root.toString(), "--port", "" + port, "--http-port", "off"));
  }

  /** Apache's, with an empty namespace whose image and edits are below a directory. */
  static Service apache(Path directory) throws Exception {
    int port = freePort();
    List<String> arguments =
        List.of(
            "org.apache.hadoop.hdfs.server.namenode.NameNode",
            "-Dfs.defaultFS=hdfs://127.0.0.1:" + port,
            "-Dhadoop.tmp.dir=" + directory,
            "-Ddfs.namenode.http-address=127.0.0.1:0");
    List<String> format = new ArrayList<>(arguments);
    format.addAll(List.of("-format", "-force", "-nonInteractive"));
    if (process(format).waitFor() != 0) {
      throw new IOException("Apache's NameNode can't be formatted");
    }
    return started(port, arguments);
  }

  private static Service started(int port, List<String> arguments) throws Exception {
    Service service = new Service(process(arguments), URI.create("hdfs://127.0.0.1:" + port));
    for (long start = System.currentTimeMillis(); !service.listens(port); Thread.sleep(100)) {
      if (!service.process.isAlive() || System.currentTimeMillis() - start > START_MILLIS) {
        service.close();
        throw new IOException(arguments.get(0) + " did not start");
      }
    }
    return service;
  }

  private boolean listens(int port) {
    try (var socket = new java.net.Socket("127.0.0.1", port)) {
      return true;
    } catch (IOException e) {
      return false;
    }
  }

  /** With the jars and the flags of this virtual machine. */
  private static Process process(List<String> arguments) throws IOException {
    List<String> line = new ArrayList<>();
    line.add(Path.of(System.getProperty("java.home"), "bin", "java").toString());
    line.addAll(ManagementFactory.getRuntimeMXBean().getInputArguments());
    line.addAll(List.of(HEAP, "-cp", System.getProperty("java.class.path")));
    line.addAll(arguments);
    return new ProcessBuilder(line)
        .redirectOutput(ProcessBuilder.Redirect.DISCARD)
        .redirectError(ProcessBuilder.Redirect.INHERIT)
        .start();
  }

  private static int freePort() throws IOException {
    try (ServerSocket socket = new ServerSocket(0)) {
      return socket.getLocalPort();
    }
  }

  URI uri() {
    return uri;
  }

  /** {@return the seconds of processor time that it has used} */
  double cpuSeconds() throws IOException {
    String stat = Files.readString(proc("stat"));
    String[] fields = stat.substring(stat.lastIndexOf(')') + 2).split(" ");
    return (Long.parseLong(fields[11]) + Long.parseLong(fields[12])) / TICKS;
  }

  /** {@return the memory that it has of the machine, in MiB} */
  long residentMiB() throws IOException {
    for (String line : Files.readAllLines(proc("status"))) {
      if (line.startsWith("VmRSS:")) {
        return Long.parseLong(line.replaceAll("\\D", "")) / 1024;
      }
    }
    throw new IOException("no VmRSS");
  }

  /** {@return what is in use of its heap after a collection, in MiB} */
  double liveHeapMiB() throws Exception {
    jcmd("GC.run");
    Matcher used = USED.matcher(jcmd("GC.heap_info"));
    if (!used.find()) {
      throw new IOException("jcmd does not tell the use of the heap");
    }
    return Long.parseLong(used.group(1)) / 1024.0;
  }

  private String jcmd(String command) throws Exception {
    String jcmd = Path.of(System.getProperty("java.home"), "bin", "jcmd").toString();
    Process asked =
        new ProcessBuilder(jcmd, "" + process.pid(), command).redirectErrorStream(true).start();
    String told = new String(asked.getInputStream().readAllBytes());
    asked.waitFor();
    return told;
  }

  private Path proc(String file) {
    return Path.of("/proc", "" + process.pid(), file);
  }

  @Override
  public void close() {
    process.destroy();
    process.onExit().join();
  }
}
