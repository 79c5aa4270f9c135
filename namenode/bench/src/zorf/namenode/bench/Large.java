package zorf.namenode.bench;

import java.io.IOException;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.concurrent.Callable;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import org.apache.hadoop.hdfs.protocol.ClientProtocol;
import org.apache.hadoop.hdfs.protocol.DirectoryListing;
import org.apache.hadoop.hdfs.protocol.HdfsFileStatus;

/** What users do with many files: count them, list all of them. */
final class Large {
  private static final int ROUNDS = 3;

  private Large() {}

  private interface Task {
    void run() throws Exception;
  }

  /** The least of a few times, in seconds. */
  private static double best(Task task) throws Exception {
    double best = Double.MAX_VALUE;
    for (int i = 0; i < ROUNDS; i++) {
      best = Math.min(best, once(task));
    }
    return best;
  }

  private static double once(Task task) throws Exception {
    long start = System.nanoTime();
    task.run();
    return (System.nanoTime() - start) / 1e9;
  }

  /** {@return how long {@code -count} takes, which is one call} */
  static double count(ClientProtocol nameNode, String path, long files) throws Exception {
    return best(() -> require(files, nameNode.getContentSummary(path).getFileCount()));
  }

  /** {@return how long clients take that all do at the same time what {@code -ls -R} does} */
  static double listAll(List<ClientProtocol> clients, String path, long files) throws Exception {
    ExecutorService threads = Executors.newFixedThreadPool(clients.size());
    try {
      return once(
          () -> {
            List<Callable<Long>> tasks = new ArrayList<>();
            for (ClientProtocol client : clients) {
              tasks.add(() -> listAll(client, path));
            }
            for (Future<Long> listed : threads.invokeAll(tasks)) {
              require(files, listed.get());
            }
          });
    } finally {
      threads.shutdown();
    }
  }

  private static long listAll(ClientProtocol nameNode, String path) throws IOException {
    long files = 0;
    for (HdfsFileStatus each : list(nameNode, path, new ArrayList<>())) {
      files += each.isDirectory() ? listAll(nameNode, each.getFullName(path)) : 1;
    }
    return files;
  }

  /** {@return the seconds that each page of a directory's listing takes, in their order} */
  static double[] pages(ClientProtocol nameNode, String path, long files) throws Exception {
    List<Double> times = new ArrayList<>();
    require(files, list(nameNode, path, times).size());
    return times.stream().mapToDouble(t -> t).toArray();
  }

  private static List<HdfsFileStatus> list(
      ClientProtocol nameNode, String path, List<Double> times) throws IOException {
    List<HdfsFileStatus> all = new ArrayList<>();
    byte[] last = HdfsFileStatus.EMPTY_NAME;
    DirectoryListing page;
    do {
      long start = System.nanoTime();
      page = nameNode.getListing(path, last, false);
      times.add((System.nanoTime() - start) / 1e9);
      all.addAll(Arrays.asList(page.getPartialListing()));
      last = page.getLastName();
    } while (page.hasMore());
    return all;
  }

  /** {@return how long find takes on this host, told to ask each file for its size and owner} */
  static double find(Path directory) throws Exception {
    return best(
        () ->
            require(
                0,
                new ProcessBuilder("find", directory.toString(), "-printf", "%s %u %p\\n")
                    .redirectOutput(ProcessBuilder.Redirect.DISCARD)
                    .redirectError(ProcessBuilder.Redirect.INHERIT)
                    .start()
                    .waitFor()));
  }

  private static void require(long wanted, long got) throws IOException {
    if (wanted != got) {
      throw new IOException(got + " instead of " + wanted);
    }
  }
}
