package zorf.tool;

import java.io.BufferedOutputStream;
import java.io.FileDescriptor;
import java.io.FileOutputStream;
import java.io.IOException;
import java.io.PrintStream;
import java.io.UnsupportedEncodingException;

/**
 * Where the tool writes, and what the reader there can see. Not every release of Java can tell a
 * terminal from a file, so the launcher says it in properties; without them nothing is a terminal.
 */
final class Output {
  /** When to colour. */
  enum Color {
    auto,
    always,
    never
  }

  static final PrintStream OUT = stream(FileDescriptor.out);
  static final PrintStream ERR = stream(FileDescriptor.err);

  private static final int DEFAULT_WIDTH = 80;
  private static final String READER_GONE = "Broken pipe";

  private static IOException lost;

  /** Remembers why a write failed, which a PrintStream does not. */
  private static final class Watched extends FileOutputStream {
    Watched(FileDescriptor descriptor) {
      super(descriptor);
    }

    @Override
    public void write(byte[] bytes, int offset, int length) throws IOException {
      try {
        super.write(bytes, offset, length);
      } catch (IOException e) {
        lost = e;
        throw e;
      }
    }
  }

  private Output() {}

  private static PrintStream stream(FileDescriptor descriptor) {
    try {
      // File names are bytes to the system and UTF-8 to the library, whatever the locale is.
      return new PrintStream(
          new BufferedOutputStream(new Watched(descriptor), 1 << 16), false, "UTF-8");
    } catch (UnsupportedEncodingException e) {
      throw new AssertionError(e);
    }
  }

  /** Whether all output was written; says so if not, unless its reader had enough of it. */
  static boolean finish() {
    boolean failed = OUT.checkError();
    if (failed && (lost == null || !READER_GONE.equals(lost.getMessage()))) {
      complain("can't write the output: " + (lost == null ? "unknown" : lost.getMessage()));
    }
    ERR.flush();
    return !failed;
  }

  static boolean outIsTerminal() {
    return Boolean.getBoolean("zorf.tool.out");
  }

  static boolean errIsTerminal() {
    return Boolean.getBoolean("zorf.tool.err");
  }

  static int width() {
    int width = Integer.getInteger("zorf.tool.width", DEFAULT_WIDTH);
    return width < 20 ? DEFAULT_WIDTH : width;
  }

  /** Whether the terminal's font has more than ASCII. */
  static boolean unicode() {
    return !Boolean.getBoolean("zorf.tool.ascii");
  }

  static boolean colored(Color color) {
    String forbidden = System.getenv("NO_COLOR");
    return color == Color.always
        || (color == Color.auto
            && outIsTerminal()
            && (forbidden == null || forbidden.isEmpty()));
  }

  /** Without line ends and what else could confuse a terminal. */
  static String printable(String text) {
    return text.replaceAll("\\p{Cntrl}", "?");
  }

  /** One line on stderr, after what was printed so far. */
  static void complain(String text) {
    OUT.flush();
    ERR.println("zorfhadoop: " + text);
    ERR.flush();
  }
}
