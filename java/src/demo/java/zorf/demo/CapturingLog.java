package zorf.demo;

import java.util.ArrayList;
import java.util.List;
import zorf.common.LineLog;

/** A logger at debug that keeps its lines until they are taken. */
public final class CapturingLog extends LineLog {
  private static final List<String> LINES = new ArrayList<>();

  /**
   * As commons-logging makes a Log.
   *
   * @param name the logger's name, of no use here
   */
  public CapturingLog(String name) {}

  /** All lines since the last call, each a level padded to 5 letters, a blank and the text. */
  static List<String> take() {
    synchronized (LINES) {
      List<String> lines = new ArrayList<>(LINES);
      LINES.clear();
      return lines;
    }
  }

  @Override
  protected boolean enabled(String level) {
    return !level.equals("trace");
  }

  @Override
  protected void line(String level, Object message) {
    if (enabled(level)) {
      synchronized (LINES) {
        LINES.add(String.format("%-5s %s", level, message));
      }
    }
  }
}
