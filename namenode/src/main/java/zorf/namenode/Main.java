package zorf.namenode;

import java.io.IOException;
import java.io.PrintStream;
import java.net.BindException;
import java.net.InetAddress;
import java.nio.file.FileSystemException;
import java.nio.file.NoSuchFileException;
import java.nio.file.NotDirectoryException;
import java.util.Arrays;
import java.util.List;
import java.util.concurrent.Callable;
import java.util.concurrent.CountDownLatch;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.util.VersionInfo;

/** The command line of the service. */
public final class Main {
  private static final int WRONG_USAGE = 2;
  private static final String NOBODY = "nobody";

  private Main() {}

  /**
   * Runs the service until it is told to end.
   *
   * @param arguments see {@link Options#USAGE}
   */
  public static void main(String... arguments) {
    int status = 1;
    try {
      if (List.of(arguments).contains("--help")) {
        System.out.print(Options.USAGE);
        status = 0;
      } else {
        status = run(Options.parse(arguments), System.out);
      }
    } catch (Options.Wrong e) {
      System.err.print("zorf-namenode: " + e.getMessage() + "\n" + Options.USAGE);
      status = WRONG_USAGE;
    } catch (Exception | LinkageError e) {
      System.err.println("zorf-namenode: " + reason(e));
    }
    System.exit(status);
  }

  private static int run(Options options, PrintStream out) throws Exception {
    Configuration configuration = Configurations.read(options.configurations());
    ServiceMetrics metrics = new ServiceMetrics();
    NameNode nameNode =
        binding(
            options.bind(),
            options.port(),
            "--port",
            () -> new NameNode(options.check() ? options.onAnyPort() : options, configuration));
    metrics.watch(nameNode);
    Rights rights = Rights.ofProcess();
    if (options.check()) {
      check(nameNode, rights);
      out.println(banner(options, options.port(), nameNode.settings(), rights) + "\nall is in order");
      return 0;
    }
    HttpPages pages =
        options.httpPort() < 0
            ? null
            : binding(
                options.httpBind(),
                options.httpPort(),
                "--http-port",
                () -> new HttpPages(configuration, options.httpBind(), options.httpPort()));
    Runtime.getRuntime().addShutdownHook(new Thread(() -> stop(nameNode), "stop"));
    nameNode.start();
    out.println(banner(options, nameNode.address().getPort(), nameNode.settings(), rights));
    if (pages != null) {
      out.println("  metrics     " + pages.url() + "/jmx and /prom");
    }
    new CountDownLatch(1).await(); // for good: a signal ends it
    return 0;
  }

  /** Says in words of the command line why a port can't be had. */
  private static <T> T binding(String address, int port, String option, Callable<T> make)
      throws Exception {
    try {
      return make.call();
    } catch (BindException e) {
      throw new IOException(
          e.getMessage().contains("in use")
              ? "port " + port + " of " + address + " is taken: choose another with " + option
              : address + " is no address of this host",
          e);
    }
  }

  private static void check(NameNode nameNode, Rights rights) throws Exception {
    nameNode.check(nameNode.settings().superuser());
    if (rights.canSwitch()) {
      nameNode.check(NOBODY);
    }
  }

  /** Being told to end is no failure, which is what the virtual machine would make of SIGTERM. */
  private static void stop(NameNode nameNode) {
    nameNode.close();
    System.err.flush();
    Runtime.getRuntime().halt(0);
  }

  private static String banner(Options options, int port, Settings settings, Rights rights)
      throws IOException {
    boolean loopback = InetAddress.getByName(options.bind()).isLoopbackAddress();
    String self = System.getProperty("user.name");
    return String.join(
        "\n",
        "zorf-namenode: hdfs://" + options.bind() + ":" + port + " serves " + options.root(),
        "  placement   "
            + Options.name(options.policy())
            + ", blocks of "
            + options.blockSize()
            + " bytes",
        "  versions    Hadoop "
            + VersionInfo.getVersion()
            + ", Java "
            + System.getProperty("java.version"),
        "  superuser   " + settings.superuser() + ", and the group " + settings.supergroup(),
        "  identities  "
            + (rights.canSwitch()
                ? "every caller acts as the user that the client names"
                : "serves " + self + " alone: it has no right to act as others")
            + (rights.canSwitch() && !rights.canGive()
                ? "; new files have their owner's group: it has no right to change it"
                : ""),
        "  security    SIMPLE: clients are believed who they are"
            + (loopback ? ", and only this host can ask" : ", from every host that can ask"));
  }

  private static String reason(Throwable e) {
    if (e instanceof NoSuchFileException) {
      return e.getMessage() + ": no such file or directory";
    }
    if (e instanceof NotDirectoryException) {
      return e.getMessage() + ": not a directory";
    }
    if (e instanceof FileSystemException) {
      return e.getMessage();
    }
    if (e instanceof NoClassDefFoundError && e.getMessage().contains("commons/logging")) {
      return "neither commons-logging nor jcl-over-slf4j is on the class path";
    }
    if (e instanceof NoClassDefFoundError) {
      return "the class path lacks " + e.getMessage();
    }
    if (e instanceof LinkageError) {
      return "the library can't be loaded: " + e.getMessage();
    }
    String message = e.getMessage() == null ? e.toString() : e.getMessage();
    return Arrays.stream(message.split("\n")).findFirst().orElse(message);
  }
}
