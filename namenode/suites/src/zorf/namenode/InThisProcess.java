package zorf.namenode;

import java.io.IOException;
import java.util.List;
import org.apache.hadoop.conf.Configuration;

/** The service in the process of the suites. */
final class InThisProcess {
  private InThisProcess() {}

  static ScratchService start(List<String> options, Configuration configuration)
      throws IOException {
    NameNode nameNode;
    try {
      nameNode =
          new NameNode(
              Options.parse(options.toArray(new String[0])),
              new Configuration(configuration));
    } catch (Options.Wrong e) {
      throw new IllegalArgumentException(e);
    } catch (InterruptedException e) {
      Thread.currentThread().interrupt();
      throw new IOException(e);
    }
    nameNode.start();
    return new ScratchService() {
      @Override
      public int port() {
        return nameNode.address().getPort();
      }

      @Override
      public void close() {
        nameNode.close();
      }
    };
  }
}
