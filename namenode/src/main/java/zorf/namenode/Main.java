package zorf.namenode;

import java.io.IOException;
import java.io.PrintStream;
import java.net.InetSocketAddress;
import java.util.concurrent.CountDownLatch;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.util.VersionInfo;

/** The command line of the service. */
public final class Main {
  private static final int USAGE = 2;

  private Main() {}

  /**
   * Runs the service until it is told to end.
   *
   * @param arguments see {@link Options#USAGE}
   */
  public static void main(String... arguments) {
    int status;
    try {
      status = run(Options.parse(arguments), System.out);
    } catch (Options.Wrong e) {
      System.err.println("zorf-namenode: " + e.getMessage() + "\n" + Options.USAGE);
      status = USAGE;
    } catch (IOException | InterruptedException e) {
      System.err.println("zorf-namenode: " + e.getMessage());
      status = 1;
    }
    System.exit(status);
  }

  private static int run(Options options, PrintStream out)
      throws IOException, InterruptedException {
    Configuration configuration = Configurations.read(options.configurations());
    ServiceMetrics metrics = new ServiceMetrics();
    NameNode nameNode = new NameNode(options, configuration);
    metrics.watch(nameNode::threadCounts);
    HttpPages pages =
        options.httpPort() < 0
            ? null
            : new HttpPages(configuration, options.httpBind(), options.httpPort());
    Runtime.getRuntime().addShutdownHook(new Thread(() -> stop(nameNode), "stop"));
    nameNode.start();
    out.println(banner(options, nameNode.address()));
    if (pages != null) {
      out.println("zorf-namenode: metrics at " + pages.url() + "/jmx and /prom");
    }
    new CountDownLatch(1).await(); // for good: a signal ends it
    return 0;
  }

  /** Being told to end is no failure, which is what the virtual machine would make of SIGTERM. */
  private static void stop(NameNode nameNode) {
    nameNode.close();
    System.err.flush();
    Runtime.getRuntime().halt(0);
  }

  private static String banner(Options options, InetSocketAddress address) {
    return "zorf-namenode: hdfs://"
        + options.bind()
        + ":"
        + address.getPort()
        + " serves "
        + options.root()
        + ", policy "
        + Options.name(options.policy())
        + ", Hadoop "
        + VersionInfo.getVersion()
        + ", Java "
        + System.getProperty("java.version");
  }
}
