package zorf.namenode;

import java.io.IOException;
import java.nio.channels.FileChannel;
import java.nio.file.DirectoryStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.concurrent.atomic.AtomicInteger;

/**
 * Paths of open files. Such a path leads to the file that was opened, whatever has its name by now. Java
 * does not tell which descriptor a channel has; it is the one whose position is where the channel was put.
 */
final class Descriptors {
  private static final Path FILES = Path.of("/proc/self/fd");
  private static final Path POSITIONS = Path.of("/proc/self/fdinfo");

  /** No directory and no file is read there. */
  private static final int FIRST_MARK = 1 << 30;

  private static final AtomicInteger MARKS = new AtomicInteger();

  /** Mostly it is the descriptor of the last time. */
  private static volatile Path last = FILES.resolve("0");

  private Descriptors() {}

  /** {@return the path of a file or a directory, for as long as the channel is open} */
  static Path path(FileChannel channel) throws IOException {
    int mark = FIRST_MARK | MARKS.incrementAndGet() & FIRST_MARK - 1;
    channel.position(mark);
    Path likely = last;
    if (isAt(likely, mark)) {
      return likely;
    }
    try (DirectoryStream<Path> all = Files.newDirectoryStream(FILES)) {
      for (Path each : all) {
        if (isAt(each, mark)) {
          last = each;
          return each;
        }
      }
    }
    throw new IOException("an open file has no descriptor");
  }

  /** The first line reads "pos:", and a number. */
  private static boolean isAt(Path file, int mark) {
    try {
      String info = Files.readString(POSITIONS.resolve(file.getFileName()));
      return info.startsWith("pos:\t" + mark + "\n");
    } catch (IOException e) {
      return false; // closed by now, before it was read or while it was
    }
  }
}
