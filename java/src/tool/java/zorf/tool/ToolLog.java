package zorf.tool;

import java.util.ArrayList;
import java.util.List;
import zorf.common.LineLog;

/**
 * The logger that the library finds in this tool: silent, unless debug was asked for before the
 * library loads, for then it takes its level. The lines are kept, or go to stderr.
 */
public final class ToolLog extends LineLog {
  private static volatile boolean debug;
  private static volatile boolean echo;
  private static final List<String> LINES = new ArrayList<>();

  /**
   * As commons-logging makes a Log.
   *
   * @param name the logger's name, of no use here
   */
  public ToolLog(String name) {}

  /** Makes commons-logging use this class; call it before the library loads. */
  static void install() {
    System.setProperty("org.apache.commons.logging.Log", ToolLog.class.getName());
  }

  static void keepLines() {
    debug = true;
  }

  static void echoLines() {
    debug = true;
    echo = true;
  }

  /** The texts of all lines since the last call. */
  static List<String> take() {
    synchronized (LINES) {
      List<String> lines = new ArrayList<>(LINES);
      LINES.clear();
      return lines;
    }
  }

  @Override
  protected boolean enabled(String level) {
    return debug && !level.equals("trace");
  }

  @Override
  protected void line(String level, Object message) {
    if (level.equals("trace")) {
      return;
    }
    synchronized (LINES) {
      if (echo) {
        Output.OUT.flush();
        Output.ERR.println(String.format("%-5s %s", level, message));
        Output.ERR.flush();
      }
      LINES.add(String.valueOf(message));
    }
  }
}
