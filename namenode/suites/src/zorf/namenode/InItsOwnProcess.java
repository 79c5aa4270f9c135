package zorf.namenode;

import java.io.BufferedReader;
import java.io.IOException;
import java.io.OutputStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import org.apache.hadoop.conf.Configuration;

/** The service as its command line starts it. */
final class InItsOwnProcess implements ScratchService {
  private static final Pattern BANNER = Pattern.compile("zorf-namenode: hdfs://[^:]*:([0-9]+) .*");

  private final Process process;
  private final int port;

  InItsOwnProcess(String command, List<String> options, Configuration configuration)
      throws IOException {
    Path file = Path.of(System.getProperty("zorf.suites.scratch"), "service.xml");
    try (OutputStream out = Files.newOutputStream(file)) {
      configuration.writeXml(out);
    }
    List<String> line = new ArrayList<>(Arrays.asList(command.split(" ")));
    line.addAll(options);
    line.addAll(List.of("--config", file.toString()));
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
