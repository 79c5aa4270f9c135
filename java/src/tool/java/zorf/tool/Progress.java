package zorf.tool;

import java.nio.file.Path;

/** How far a long walk is, on a line of stderr that comes and goes; only if that is a terminal. */
final class Progress {
  private static final long FIRST_NANOS = 500_000_000L;
  private static final long EVERY_NANOS = 100_000_000L;

  private final boolean shown = Output.errIsTerminal();
  private long next = System.nanoTime() + FIRST_NANOS;
  private long count;
  private boolean visible;

  void at(Path path) {
    count++;
    if (!shown || System.nanoTime() - next < 0) {
      return;
    }
    next = System.nanoTime() + EVERY_NANOS;
    String text = Sizes.exact(count) + " entries, " + Output.printable(path.toString());
    int room = Output.width() - 1;
    Output.ERR.print(
        "\r\u001b[K" + (text.length() > room ? text.substring(0, room) : text));
    Output.ERR.flush();
    visible = true;
  }

  /** Before anything else is printed. */
  void clear() {
    if (visible) {
      Output.ERR.print("\r\u001b[K");
      Output.ERR.flush();
      visible = false;
    }
  }
}
