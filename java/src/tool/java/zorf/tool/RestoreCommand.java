package zorf.tool;

import java.io.IOException;
import java.util.Collections;
import java.util.List;
import picocli.CommandLine.Parameters;

/** A command that gives files what a dump says they had. */
abstract class RestoreCommand extends FileCommand {
  @Parameters(
      paramLabel = "FILE",
      description = "The dump; \"-\" for stdin. Its paths count from the working directory.")
  private String file;

  private List<Dump> dumps;

  @Override
  final void prepare() throws IOException {
    dumps = Dump.read(Bytes.of(file));
  }

  @Override
  final int runAsUser() {
    int result = OK;
    for (Dump dump : dumps) {
      result |= change(Collections.singletonList(dump.path), path -> attemptFrom(dump));
    }
    return result;
  }

  private void attemptFrom(Dump dump) throws Exception {
    if (dump.notes.containsKey("error")) {
      throw new Failure(dump.path + ": the dump only tells that it could not be read");
    }
    restore(dump);
  }

  abstract void restore(Dump dump) throws Exception;
}
