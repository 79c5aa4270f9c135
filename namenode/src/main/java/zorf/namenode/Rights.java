package zorf.namenode;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;

/** What the kernel lets the process do, besides what is its user's. */
final class Rights {
  private static final int CHOWN = 0;
  private static final int SETGID = 6;
  private static final int SETUID = 7;

  private final long capabilities;

  private Rights(long capabilities) {
    this.capabilities = capabilities;
  }

  static Rights ofProcess() throws IOException {
    for (String line : Files.readAllLines(Path.of("/proc/self/status"))) {
      if (line.startsWith("CapEff:")) {
        return new Rights(Long.parseUnsignedLong(line.substring(7).trim(), 16));
      }
    }
    return new Rights(0);
  }

  private boolean has(int capability) {
    return (capabilities >> capability & 1) != 0;
  }

  /** {@return whether it can act as the users who call} */
  boolean canSwitch() {
    return has(SETUID) && has(SETGID);
  }

  /** {@return whether it can give files to others} */
  boolean canGive() {
    return has(CHOWN);
  }
}
