package zorf.namenode;

import java.io.IOException;
import java.util.ArrayList;
import java.util.List;
import org.apache.hadoop.conf.Configuration;

/** A service on a scratch directory. */
public interface ScratchService extends AutoCloseable {
  int port();

  @Override
  void close();

  /**
   * Starts one: in this process, or where the property {@code zorf.suites.service} names its program in
   * one of its own.
   */
  static ScratchService start(
      ScratchDirectory directory, DataNodes dataNodes, Configuration configuration, int port)
      throws IOException {
    List<String> options = new ArrayList<>(dataNodes.options());
    options.addAll(List.of("--root", directory.path().toString()));
    options.addAll(List.of("--port", Integer.toString(port)));
    String program = System.getProperty("zorf.suites.service");
    return program == null
        ? InThisProcess.start(options, configuration)
        : new InItsOwnProcess(program, options, configuration);
  }
}
