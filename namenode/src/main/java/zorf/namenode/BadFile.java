package zorf.namenode;

import java.io.IOException;
import java.nio.file.Path;

/** A file that an administrator wrote has a mistake. */
final class BadFile extends IOException {
  private static final long serialVersionUID = 1L;

  BadFile(Path file, String what) {
    super(file + ": " + what);
  }

  BadFile(Path file, int line, String what) {
    super(file + ":" + line + ": " + what);
  }
}
