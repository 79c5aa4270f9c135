package zorf.namenode;

import java.io.BufferedReader;
import java.io.IOException;
import java.io.InputStreamReader;
import java.lang.management.ManagementFactory;
import java.net.URI;
import java.nio.charset.StandardCharsets;
import java.nio.file.Path;
import java.security.PrivilegedExceptionAction;
import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import java.util.concurrent.TimeUnit;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.hdfs.DistributedFileSystem;
import org.apache.hadoop.hdfs.HdfsConfiguration;
import org.apache.hadoop.security.UserGroupInformation;

/** The service in a process of its own. */
final class ServiceProcess implements AutoCloseable {
  private final Process process;
  private final StringBuilder output = new StringBuilder();

  /**
   * Starts it.
   *
   * @param prefix a command to run it by, such as setpriv(1)
   * @param environment variables besides this process's own
   * @param options of the service
   */
  ServiceProcess(List<String> prefix, Map<String, String> environment, String... options)
      throws IOException {
    List<String> command = new ArrayList<>(prefix);
    command.add(Path.of(System.getProperty("java.home"), "bin", "java").toString());
    for (String flag : ManagementFactory.getRuntimeMXBean().getInputArguments()) {
      if (flag.startsWith("-Dzorf.") || flag.startsWith("--")) {
        command.add(flag);
      }
    }
    command.addAll(List.of("-cp", System.getProperty("java.class.path"), "zorf.namenode.Main"));
    command.addAll(List.of("--http-port", "off")); // unless an option says otherwise
    command.addAll(List.of(options));
    ProcessBuilder builder = new ProcessBuilder(command).redirectErrorStream(true);
    builder.environment().putAll(environment);
    process = builder.start();
    Thread reader = new Thread(this::read, "output of the service");
    reader.setDaemon(true);
    reader.start();
  }

  private void read() {
    try (BufferedReader lines =
        new BufferedReader(
            new InputStreamReader(process.getInputStream(), StandardCharsets.UTF_8))) {
      for (String line = lines.readLine(); line != null; line = lines.readLine()) {
        synchronized (output) {
          output.append(line).append('\n');
          output.notifyAll();
        }
      }
    } catch (IOException e) {
      // The process has ended.
    }
  }

  /** {@return what it has said so far} */
  String output() {
    synchronized (output) {
      return output.toString();
    }
  }

  /** {@return where it listens, once it has said so} */
  String uri() throws InterruptedException {
    synchronized (output) {
      long end = System.nanoTime() + TimeUnit.SECONDS.toNanos(60);
      while (!output.toString().contains("security")) {
        if (!process.isAlive() || System.nanoTime() > end) {
          throw new IllegalStateException("it does not serve: " + output);
        }
        output.wait(200);
      }
      return output.toString().replaceFirst("(?s).*(hdfs://[^ ]*) .*", "$1");
    }
  }

  /** {@return a client of the user} */
  DistributedFileSystem as(String user, Configuration configuration) throws Exception {
    URI address = URI.create(uri());
    PrivilegedExceptionAction<FileSystem> open =
        () -> FileSystem.newInstance(address, configuration);
    return (DistributedFileSystem) UserGroupInformation.createRemoteUser(user).doAs(open);
  }

  DistributedFileSystem as(String user) throws Exception {
    return as(user, new HdfsConfiguration());
  }

  /** {@return its exit status} */
  int awaitEnd() throws InterruptedException {
    if (!process.waitFor(60, TimeUnit.SECONDS)) {
      throw new IllegalStateException("it does not end: " + output());
    }
    return process.exitValue();
  }

  /** Ends it as an administrator does. */
  int terminate() throws InterruptedException {
    process.destroy();
    return awaitEnd();
  }

  /** Ends it at once. */
  @Override
  public void close() {
    process.destroyForcibly();
  }
}
