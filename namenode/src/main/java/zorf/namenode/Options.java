package zorf.namenode;

import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.Locale;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockPolicy;

/**
 * What the command line says.
 *
 * @param root the directory that clients see as "/"
 * @param bind the address to listen at
 * @param port the port, 0 for any that is free
 * @param httpBind the address of the pages with metrics
 * @param httpPort their port, 0 for any that is free, -1 for no pages
 * @param policy where blocks are said to lie
 * @param blockSize the block size of files that have none of their own, in bytes
 * @param topology the file that names the hosts of locations, null for none
 * @param keys the file with the keys of block tokens, null for none
 * @param superuser who may do anything, null for whoever runs the service
 * @param configurations Hadoop's configuration files, or directories with them
 * @param check whether to end once everything has been found in order
 */
record Options(
    Path root,
    String bind,
    int port,
    String httpBind,
    int httpPort,
    BlockPolicy policy,
    long blockSize,
    Path topology,
    Path keys,
    String superuser,
    List<Path> configurations,
    boolean check) {

  static final String USAGE =
      """
      run --root DIR [OPTION]...

        --root DIR         the directory that clients see as /
        --bind ADDRESS     where to listen (127.0.0.1)
        --port PORT        (8020); 0 takes a free one, which the banner tells
        --http-bind ADDRESS  where the pages with metrics are (127.0.0.1)
        --http-port PORT   their port (9870); 0 takes a free one, "off" is no pages
        --policy POLICY    local, shared, rackaware or rackaware-sort (rackaware-sort)
        --block-size SIZE  of files that have none of their own, such as 64M (128M)
        --topology FILE    the hosts of locations: lines of IDENTIFIER HOST[:PORT] RACK
        --key FILE         the keys that sign block tokens: lines of ID HEX
        --superuser USER   who may do anything (whoever runs the service)
        --config FILE      a configuration file of Hadoop's, or a directory with core-site.xml and
                           hdfs-site.xml; more than once, later ones win
        --check            check all of it, and end
      """;

  /** A command line that can't be understood. */
  static final class Wrong extends Exception {
    private static final long serialVersionUID = 1L;

    Wrong(String message) {
      super(message);
    }
  }

  static Options parse(String... arguments) throws Wrong {
    Path root = null;
    String bind = "127.0.0.1";
    int port = 8020;
    String httpBind = "127.0.0.1";
    int httpPort = 9870;
    BlockPolicy policy = BlockPolicy.RACKAWARE_SORT;
    long blockSize = 128L << 20;
    Path topology = null;
    Path keys = null;
    String superuser = null;
    List<Path> configurations = new ArrayList<>();
    boolean check = false;
    for (int i = 0; i < arguments.length; i++) {
      String option = arguments[i];
      if (option.equals("--check")) {
        check = true;
        continue;
      }
      if (!USAGE.contains("  " + option + " ") || !option.startsWith("--")) {
        throw new Wrong("no option " + option);
      }
      if (++i == arguments.length) {
        throw new Wrong(option + " needs a value");
      }
      String value = arguments[i];
      switch (option) {
        case "--root" -> root = Path.of(value);
        case "--bind" -> bind = value;
        case "--port" -> port = port(value);
        case "--http-bind" -> httpBind = value;
        case "--http-port" -> httpPort = value.equals("off") ? -1 : port(value);
        case "--policy" -> policy = policy(value);
        case "--block-size" -> blockSize = size(value);
        case "--topology" -> topology = Path.of(value);
        case "--key" -> keys = Path.of(value);
        case "--superuser" -> superuser = value;
        default -> configurations.add(Path.of(value));
      }
    }
    if (root == null) {
      throw new Wrong("--root is missing");
    }
    return new Options(
        root,
        bind,
        port,
        httpBind,
        httpPort,
        policy,
        blockSize,
        topology,
        keys,
        superuser,
        configurations,
        check);
  }

  /** {@return the same, but for the port, which is any that is free} */
  Options onAnyPort() {
    return new Options(
        root,
        bind,
        0,
        httpBind,
        httpPort,
        policy,
        blockSize,
        topology,
        keys,
        superuser,
        configurations,
        check);
  }

  private static int port(String text) throws Wrong {
    if (!text.matches("[0-9]{1,5}") || Integer.parseInt(text) > 65_535) {
      throw new Wrong("not a port: " + text);
    }
    return Integer.parseInt(text);
  }

  private static BlockPolicy policy(String text) throws Wrong {
    for (BlockPolicy policy : BlockPolicy.values()) {
      if (name(policy).equals(text)) {
        return policy;
      }
    }
    throw new Wrong("not a policy: " + text);
  }

  /** {@return a policy as the command line has it} */
  static String name(BlockPolicy policy) {
    return policy.name().toLowerCase(Locale.ROOT).replace('_', '-');
  }

  private static long size(String text) throws Wrong {
    if (!text.matches("[1-9][0-9]{0,11}[KMG]?")) {
      throw new Wrong("not a size: " + text);
    }
    int shift = 10 * (" KMG".indexOf(text.charAt(text.length() - 1)));
    return shift < 0
        ? Long.parseLong(text)
        : Long.parseLong(text.substring(0, text.length() - 1)) << shift;
  }
}
