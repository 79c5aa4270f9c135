package zorf.namenode;

import java.io.IOException;
import java.io.UncheckedIOException;
import java.net.URI;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import java.security.PrivilegedExceptionAction;
import java.util.ArrayList;
import java.util.Comparator;
import java.util.List;
import java.util.stream.Stream;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.hdfs.DistributedFileSystem;
import org.apache.hadoop.hdfs.HdfsConfiguration;
import org.apache.hadoop.hdfs.protocol.ClientProtocol;
import org.apache.hadoop.security.UserGroupInformation;

/** A scratch directory that a service in this process serves, and Apache's clients of it. */
final class Served implements AutoCloseable {
  private final Path root;
  private final NameNode nameNode;
  private final List<FileSystem> clients = new ArrayList<>();

  private Served(Path root, NameNode nameNode) {
    this.root = root;
    this.nameNode = nameNode;
  }

  /** Serves an empty directory that everybody may enter, with more options if there are any. */
  static Served start(String... options) throws Exception {
    return start(new HdfsConfiguration(), options);
  }

  static Served start(Configuration configuration, String... options) throws Exception {
    Path root = Files.createTempDirectory("zorf-namenode-test-").toRealPath();
    Files.setPosixFilePermissions(root, PosixFilePermissions.fromString("rwxr-xr-x"));
    try {
      return start(root, configuration, options);
    } catch (Exception e) {
      Files.delete(root);
      throw e;
    }
  }

  /** Serves a directory that is there; it is deleted in the end. */
  static Served start(Path root, Configuration configuration, String... options)
      throws Exception {
    List<String> arguments = new ArrayList<>(List.of("--root", root.toString(), "--port", "0"));
    arguments.addAll(List.of(options));
    NameNode nameNode =
        new NameNode(Options.parse(arguments.toArray(new String[0])), configuration);
    nameNode.start();
    return new Served(root, nameNode);
  }

  /** {@return the directory on this host} */
  Path root() {
    return root;
  }

  URI uri() {
    return URI.create("hdfs://127.0.0.1:" + nameNode.address().getPort());
  }

  /** {@return what answers clients, without a connection to it} */
  ClientProtocol answers() {
    return nameNode.client();
  }

  NameNode nameNode() {
    return nameNode;
  }

  /** {@return a client of the user, which does not try again} */
  DistributedFileSystem as(String user) throws Exception {
    Configuration configuration = new HdfsConfiguration();
    configuration.setInt("ipc.client.connect.max.retries", 0);
    configuration.setBoolean("dfs.client.retry.policy.enabled", false);
    PrivilegedExceptionAction<FileSystem> open =
        () -> FileSystem.newInstance(uri(), configuration);
    FileSystem client = UserGroupInformation.createRemoteUser(user).doAs(open);
    clients.add(client);
    return (DistributedFileSystem) client;
  }

  @Override
  public void close() throws Exception {
    for (FileSystem client : clients) {
      client.close();
    }
    nameNode.close();
    delete(root);
  }

  private static void delete(Path root) throws IOException {
    try (Stream<Path> paths = Files.walk(root)) {
      paths.sorted(Comparator.reverseOrder()).forEach(Served::deleteOne);
    }
  }

  private static void deleteOne(Path path) {
    try {
      Files.delete(path);
    } catch (IOException e) {
      throw new UncheckedIOException(e);
    }
  }
}
