package zorf.namenode;

import java.io.BufferedReader;
import java.io.IOException;
import java.io.OutputStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import org.apache.hadoop.conf.Configuration;

/** The service as its command line starts it, for clients whose jars are of another version. */
final class InItsOwnProcess implements ScratchService {
  private static final Pattern BANNER = Pattern.compile("zorf-namenode: hdfs://[^:]*:([0-9]+) .*");

  private final Process process;
  private final int port;

  InItsOwnProcess(String program, List<String> options, Configuration configuration)
      throws IOException {
    Path file = Path.of(System.getProperty("zorf.suites.scratch"), "service.xml");
    try (OutputStream out = Files.newOutputStream(file)) {
      asSet(configuration).writeXml(out);
    }
    List<String> line = new ArrayList<>(List.of(program));
    line.addAll(options);
    line.addAll(List.of("--http-port", "off", "--config", file.toString()));
    process = new ProcessBuilder(line).redirectError(ProcessBuilder.Redirect.INHERIT).start();
    BufferedReader banner = process.inputReader();
    for (String told = banner.readLine(); told != null; told = banner.readLine()) {
      Matcher matcher = BANNER.matcher(told);
      if (matcher.matches()) {
        this.port = Integer.parseInt(matcher.group(1));
        return;
      }
    }
    throw new IOException("the service ended without a banner: " + String.join(" ", line));
  }

  /** What a suite has set, without the defaults of its own version of Hadoop. */
  private static Configuration asSet(Configuration configuration) {
    Configuration set = new Configuration(false);
    for (Map.Entry<String, String> each : configuration) {
      String[] sources = configuration.getPropertySources(each.getKey());
      if (sources != null && !sources[sources.length - 1].endsWith("-default.xml")) {
        set.set(each.getKey(), each.getValue());
      }
    }
    return set;
  }

  @Override
  public int port() {
    return port;
  }

  @Override
  public void close() {
    process.destroy();
    process.onExit().join();
  }
}
