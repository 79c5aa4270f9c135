import java.io.IOException;
import java.io.PrintStream;
import java.lang.reflect.Constructor;
import java.net.URI;
import java.net.http.HttpClient;
import java.net.http.HttpRequest;
import java.net.http.HttpResponse;
import java.nio.file.Files;
import java.nio.file.Path;
import java.security.PrivilegedExceptionAction;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.BlockLocation;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.FsShell;
import org.apache.hadoop.hdfs.HdfsConfiguration;
import org.apache.hadoop.hdfs.tools.DFSAdmin;
import org.apache.hadoop.hdfs.tools.GetConf;
import org.apache.hadoop.security.UserGroupInformation;
import org.apache.hadoop.util.Tool;
import org.apache.hadoop.util.ToolRunner;

/**
 * Runs the lines of a script, each shown above what it prints: Apache's own commands, the same
 * classes that its hdfs script starts, but all in one process, which saves the start of each.
 *
 * <pre>
 * # a heading
 * alice$ hdfs dfs -ls /           a command of Apache's client, as a user
 * alice$ hdfs dfs -cat /a | wc    the same; what it prints goes to a command of this host
 * alice> blocks /file LENGTH      getFileBlockLocations of the Java API, as a user
 * root# COMMAND                   a command of this host
 * GET PATH                        a page of the service
 * </pre>
 */
final class Demo {
  private static final Pattern LINE = Pattern.compile("(\\w+)([$>#]) (.*)");

  private final Configuration configuration = new HdfsConfiguration();
  private final String pages;
  private final PrintStream out;

  private Demo(String service, String pages) {
    configuration.set("fs.defaultFS", service);
    this.pages = pages;
    out = System.out;
    System.setErr(out); // in the order in which it is said
  }

  /** Takes the service, the place of its pages, and the script. */
  public static void main(String... arguments) throws Exception {
    Demo demo = new Demo(arguments[0], arguments[1]);
    boolean first = true;
    for (String line : Files.readAllLines(Path.of(arguments[2]))) {
      if (line.startsWith("# ")) {
        demo.out.println((first ? "" : "\n") + line);
        first = false;
      } else if (!line.isEmpty()) {
        demo.out.println(line);
        demo.run(line);
      }
    }
  }

  private void run(String line) throws Exception {
    if (line.startsWith("GET ")) {
      get(line.substring(4));
      return;
    }
    Matcher parts = LINE.matcher(line);
    if (!parts.matches()) {
      throw new IllegalArgumentException(line);
    }
    if (parts.group(2).equals("#")) {
      start(parts.group(3), ProcessBuilder.Redirect.INHERIT).waitFor();
      return;
    }
    String[] piped = parts.group(3).split(" \\| ", 2);
    List<String> words = words(piped[0]);
    PrivilegedExceptionAction<Void> action =
        () -> {
          if (words.get(0).equals("blocks")) {
            blocks(words.get(1), Long.parseLong(words.get(2)));
          } else {
            String[] rest = words.subList(2, words.size()).toArray(new String[0]);
            ToolRunner.run(configuration, tool(words.get(1)), rest);
          }
          return null;
        };
    UserGroupInformation user = UserGroupInformation.createRemoteUser(parts.group(1));
    if (piped.length == 1) {
      user.doAs(action);
      return;
    }
    Process reader = start(piped[1], ProcessBuilder.Redirect.PIPE);
    try (PrintStream pipe = new PrintStream(reader.getOutputStream())) {
      System.setOut(pipe);
      user.doAs(action);
    } finally {
      System.setOut(out);
    }
    reader.waitFor();
  }

  private Process start(String command, ProcessBuilder.Redirect input) throws IOException {
    out.flush();
    return new ProcessBuilder("bash", "-c", command).inheritIO().redirectInput(input).start();
  }

  private Tool tool(String name) throws ReflectiveOperationException {
    return switch (name) {
      case "dfs" -> new FsShell();
      case "dfsadmin" -> new DFSAdmin();
      case "getconf" -> getConf();
      default -> throw new IllegalArgumentException(name);
    };
  }

  /** Only its own package may make one, else than by its main. */
  private Tool getConf() throws ReflectiveOperationException {
    Constructor<GetConf> constructor = GetConf.class.getDeclaredConstructor(Configuration.class);
    constructor.setAccessible(true);
    return constructor.newInstance(configuration);
  }

  private void blocks(String path, long length) throws IOException {
    FileSystem files = FileSystem.get(configuration);
    for (BlockLocation block :
        files.getFileBlockLocations(new org.apache.hadoop.fs.Path(path), 0, length)) {
      out.printf(
          "  %,14d +%,d  %s%n",
          block.getOffset(),
          block.getLength(),
          Arrays.toString(block.getTopologyPaths()));
    }
  }

  private void get(String page) throws IOException, InterruptedException {
    HttpRequest request = HttpRequest.newBuilder(URI.create(pages + page)).build();
    out.println(
        HttpClient.newHttpClient().send(request, HttpResponse.BodyHandlers.ofString()).body());
  }

  /** Words are split at spaces, but not between apostrophes. */
  private static List<String> words(String line) {
    List<String> words = new ArrayList<>();
    Matcher word = Pattern.compile("'([^']*)'|(\\S+)").matcher(line);
    while (word.find()) {
      words.add(word.group(1) != null ? word.group(1) : word.group(2));
    }
    return words;
  }
}
