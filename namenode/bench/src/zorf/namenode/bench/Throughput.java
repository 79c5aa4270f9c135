package zorf.namenode.bench;

import java.io.IOException;
import java.io.StringWriter;
import java.net.URI;
import java.util.List;
import java.util.concurrent.FutureTask;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.TimeoutException;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.hdfs.server.namenode.NNThroughputBenchmark;
import org.apache.log4j.Level;
import org.apache.log4j.Logger;
import org.apache.log4j.PatternLayout;
import org.apache.log4j.WriterAppender;

/** Hadoop's own benchmark of NameNodes; what it finds it tells its logger alone. */
final class Throughput {
  static final List<String> OPERATIONS =
      List.of("open", "fileStatus", "create", "mkdirs", "rename", "delete");

  private static final int THREADS = 8;
  private static final Pattern RATE = Pattern.compile(" Ops per sec: ([0-9.]+)");

  private final Configuration configuration;

  Throughput(Configuration configuration, URI uri) {
    this.configuration = new Configuration(configuration);
    FileSystem.setDefaultUri(this.configuration, uri);
  }

  /** {@return how many operations of this kind there were a second} */
  double of(String operation, int count) throws Exception {
    StringWriter told = new StringWriter();
    WriterAppender appender = new WriterAppender(new PatternLayout("%m%n"), told);
    Logger logger = Logger.getLogger(NNThroughputBenchmark.class);
    logger.setLevel(Level.INFO);
    logger.setAdditivity(false);
    logger.addAppender(appender);
    try {
      run(operation, count, told);
    } finally {
      logger.removeAppender(appender);
    }
    Matcher rate = RATE.matcher(told.toString());
    if (!rate.find()) {
      throw new IOException("NNThroughputBenchmark says no rate:\n" + told);
    }
    return Double.parseDouble(rate.group(1));
  }

  private void run(String operation, int count, StringWriter told) throws Exception {
    boolean directories = operation.equals("mkdirs");
    String[] arguments = {
      "-op", operation,
      "-threads", "" + THREADS,
      directories ? "-dirs" : "-files", "" + count,
      directories ? "-dirsPerDir" : "-filesPerDir", "1000"
    };
    FutureTask<Void> task =
        new FutureTask<>(
            () -> {
              NNThroughputBenchmark.runBenchmark(configuration, arguments);
              return null;
            });
    Thread thread = new Thread(task, "NNThroughputBenchmark");
    thread.setDaemon(true); // it waits without end for a thread that failed
    thread.start();
    while (!task.isDone()) {
      try {
        task.get(1, TimeUnit.SECONDS);
      } catch (TimeoutException e) {
        if (told.toString().contains("failed:")) {
          throw new IOException(told.toString());
        }
      }
    }
    task.get();
  }
}
