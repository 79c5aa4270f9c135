package zorf.namenode.soak;

import java.io.IOException;
import java.net.URI;
import java.net.http.HttpClient;
import java.net.http.HttpRequest;
import java.net.http.HttpResponse;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.TimeUnit;
import java.util.regex.Matcher;
import java.util.regex.Pattern;

/** The service, which is started again at the same port. */
final class Service implements AutoCloseable {
  /** All of its heap is there from the start: what grows besides is native memory. */
  private static final List<String> FLAGS =
      List.of("-Xms192m", "-Xmx192m", "-XX:+AlwaysPreTouch", "-XX:+UseSerialGC");

  private static final String HEAP = "java.lang:type=Memory";
  private static final String THREADS = "Hadoop:service=NameNode,name=UserThreads";

  private final List<String> command;
  private Child process;
  private volatile String pages;

  /**
   * Takes what starts it.
   *
   * @param java runs Java, class path included
   * @param options of the service
   */
  Service(List<String> java, List<String> options) {
    command = new ArrayList<>(java);
    command.addAll(FLAGS);
    command.add("zorf.namenode.Main");
    command.addAll(options);
  }

  /** Starts it and waits until it serves. */
  void start() throws IOException, InterruptedException {
    pages = null;
    StringBuilder said = new StringBuilder();
    process = new Child(command, line -> hear(line, said));
    long end = System.nanoTime() + TimeUnit.SECONDS.toNanos(60);
    while (pages == null) {
      if (!process.isAlive() || System.nanoTime() > end) {
        throw new IOException("the service does not serve: " + said);
      }
      Thread.sleep(20);
    }
  }

  private void hear(String line, StringBuilder said) {
    if (line.startsWith("  metrics ")) {
      pages = line.replaceFirst(".*(http://[^/]*).*", "$1");
    } else if (pages == null) {
      said.append(line).append('\n');
    } else {
      System.err.println(line);
    }
  }

  Child process() {
    return process;
  }

  void terminate() throws IOException, InterruptedException {
    int status = process.terminate();
    if (status != 0) {
      throw new IOException("the service ended with " + status);
    }
  }

  /** Has it collect what it needs no more; {@return how many bytes of its heap are left} */
  long heap() throws IOException, InterruptedException {
    String jcmd = Path.of(System.getProperty("java.home"), "bin", "jcmd").toString();
    Process collection =
        new ProcessBuilder(jcmd, Long.toString(process.pid()), "GC.run")
            .redirectOutput(ProcessBuilder.Redirect.DISCARD)
            .start();
    if (collection.waitFor() != 0) {
      throw new IOException("jcmd ended with " + collection.exitValue());
    }
    return number(HEAP, "\"HeapMemoryUsage\"[^}]*\"used\"");
  }

  /** {@return how many threads act as users} */
  long userThreads() throws IOException, InterruptedException {
    return number(THREADS, "\"Threads\"");
  }

  private long number(String bean, String name) throws IOException, InterruptedException {
    String page =
        HttpClient.newHttpClient()
            .send(
                HttpRequest.newBuilder(URI.create(pages + "/jmx?qry=" + bean)).build(),
                HttpResponse.BodyHandlers.ofString())
            .body();
    Matcher found = Pattern.compile(name + " : ([0-9]+)").matcher(page);
    if (!found.find()) {
      throw new IOException("no " + name + " in " + page);
    }
    return Long.parseLong(found.group(1));
  }

  @Override
  public void close() {
    if (process != null) {
      process.close();
    }
  }
}
