import java.io.IOException;
import java.net.ServerSocket;
import java.net.URI;
import java.nio.file.Files;
import java.nio.file.Path;
import java.security.PrivilegedExceptionAction;
import java.util.ArrayList;
import java.util.List;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.hdfs.DistributedFileSystem;
import org.apache.hadoop.security.UserGroupInformation;

/**
 * A NameNode and DataNodes, processes that can be ended and started again at the same ports. They run in the
 * current directory and serve "root" with "keys". System properties: "datanode" is the program, "namenode"
 * the script that runs the service, "user" who writes.
 */
final class Services {
  final Service nameNode;
  final List<Service> dataNodes = new ArrayList<>();
  private final URI address;

  /** One of them. */
  static final class Service {
    private final String ready;
    private final String[] command;
    private final Path log;
    private Process process;

    private Service(String name, String ready, String... command) {
      this.ready = ready;
      this.command = command;
      log = Path.of(name + ".log");
    }

    void start() throws IOException {
      process =
          new ProcessBuilder(command)
              .redirectErrorStream(true)
              .redirectOutput(log.toFile())
              .start();
    }

    void awaitReady() throws IOException, InterruptedException {
      while (!Files.readString(log).contains(ready)) {
        if (!process.isAlive()) {
          throw new IOException("it ended: " + Files.readString(log));
        }
        Thread.sleep(20);
      }
    }

    /** SIGKILL. */
    void kill() throws InterruptedException {
      process.destroyForcibly().waitFor();
    }

    /** SIGTERM. */
    void end() throws InterruptedException {
      process.destroy();
      process.waitFor();
    }
  }

  /** {@link #start} starts them. */
  Services(int dataNodeCount) throws IOException {
    List<String> topology = new ArrayList<>();
    for (int i = 1; i <= dataNodeCount; i++) {
      int port = freePort();
      topology.add(i + " 127.0.0.1:" + port + " /rack");
      dataNodes.add(
          new Service(
              "datanode" + i, "listens at ",
              System.getProperty("datanode"), "--root", "root", "--key", "keys",
              "--port", "" + port));
    }
    Files.write(Path.of("topology"), topology);
    int port = freePort();
    address = URI.create("hdfs://127.0.0.1:" + port);
    nameNode =
        new Service(
            "namenode", "hdfs://",
            System.getProperty("namenode"), "run", "--root", "root", "--key", "keys",
            "--port", "" + port, "--http-port", "off", "--policy", "shared", "--topology", "topology");
    Runtime.getRuntime().addShutdownHook(new Thread(this::killAll));
  }

  Service dataNodeAt(int port) {
    return dataNodes.stream()
        .filter(service -> List.of(service.command).contains("" + port))
        .findFirst()
        .orElseThrow();
  }

  private static int freePort() throws IOException {
    try (ServerSocket socket = new ServerSocket(0)) {
      return socket.getLocalPort();
    }
  }

  void start() throws Exception {
    List<Service> all = new ArrayList<>(dataNodes);
    all.add(nameNode);
    for (Service service : all) {
      service.start();
    }
    for (Service service : all) {
      service.awaitReady();
    }
  }

  void killAll() {
    nameNode.process.destroyForcibly();
    dataNodes.forEach(service -> service.process.destroyForcibly());
  }

  /** {@return Apache's client, a new one} */
  DistributedFileSystem client(Configuration configuration)
      throws IOException, InterruptedException {
    PrivilegedExceptionAction<FileSystem> open =
        () -> FileSystem.newInstance(address, configuration);
    return (DistributedFileSystem)
        UserGroupInformation.createRemoteUser(System.getProperty("user")).doAs(open);
  }
}
