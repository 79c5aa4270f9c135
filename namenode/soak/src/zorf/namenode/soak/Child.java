package zorf.namenode.soak;

import java.io.BufferedReader;
import java.io.IOException;
import java.io.Writer;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import java.util.concurrent.TimeUnit;
import java.util.function.Consumer;
import java.util.stream.Stream;

/** A process that is listened to, and what the kernel says of it. */
final class Child implements AutoCloseable {
  private final Process process;
  private final Writer in;

  /**
   * Starts it.
   *
   * @param lines hears each line that it says
   */
  Child(List<String> command, Consumer<String> lines) throws IOException {
    process = new ProcessBuilder(command).redirectErrorStream(true).start();
    Runtime.getRuntime().addShutdownHook(new Thread(process::destroyForcibly));
    in = process.outputWriter();
    BufferedReader out = process.inputReader();
    Thread reader = new Thread(() -> read(out, lines), "output of " + process.pid());
    reader.setDaemon(true);
    reader.start();
  }

  private static void read(BufferedReader out, Consumer<String> lines) {
    try {
      for (String line = out.readLine(); line != null; line = out.readLine()) {
        lines.accept(line);
      }
    } catch (IOException e) {
      // It has ended.
    }
  }

  /** Tells it something. */
  void tell(String line) throws IOException {
    in.write(line + "\n");
    in.flush();
  }

  long pid() {
    return process.pid();
  }

  boolean isAlive() {
    return process.isAlive();
  }

  /** Ends it as an administrator does. */
  int terminate() throws InterruptedException {
    process.destroy();
    return awaitEnd();
  }

  /** Ends it at once. */
  void kill() throws InterruptedException {
    process.destroyForcibly();
    awaitEnd();
  }

  private int awaitEnd() throws InterruptedException {
    if (!process.waitFor(60, TimeUnit.SECONDS)) {
      throw new IllegalStateException("a process does not end: " + process);
    }
    return process.exitValue();
  }

  /** {@return a number of its status, such as "Threads"} */
  long status(String name) throws IOException {
    for (String line : Files.readAllLines(proc("status"))) {
      if (line.startsWith(name + ":")) {
        return Long.parseLong(line.split("\\s+")[1]);
      }
    }
    throw new IOException("no " + name + " of " + process);
  }

  /** {@return how many descriptors it has open} */
  long descriptors() throws IOException {
    try (Stream<Path> open = Files.list(proc("fd"))) {
      return open.count();
    }
  }

  private Path proc(String file) {
    return Path.of("/proc", Long.toString(process.pid()), file);
  }

  @Override
  public void close() {
    process.destroyForcibly();
  }
}
