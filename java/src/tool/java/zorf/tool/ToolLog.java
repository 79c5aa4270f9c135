package zorf.tool;

import java.util.ArrayList;
import java.util.List;
import org.apache.commons.logging.Log;

/**
 * The logger that the library finds in this tool: silent, unless debug was asked for before the
 * library loads, for then it takes its level. The lines are kept, or go to stderr.
 */
public final class ToolLog implements Log {
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

  private static void keep(String level, Object message) {
    synchronized (LINES) {
      if (echo) {
        Output.OUT.flush();
        Output.ERR.println(level + " " + message);
        Output.ERR.flush();
      }
      LINES.add(String.valueOf(message));
    }
  }

  @Override
  public boolean isTraceEnabled() {
    return false;
  }

  @Override
  public boolean isDebugEnabled() {
    return debug;
  }

  @Override
  public boolean isInfoEnabled() {
    return debug;
  }

  @Override
  public boolean isWarnEnabled() {
    return debug;
  }

  @Override
  public boolean isErrorEnabled() {
    return debug;
  }

  @Override
  public boolean isFatalEnabled() {
    return debug;
  }

  @Override
  public void trace(Object message) {}

  @Override
  public void trace(Object message, Throwable t) {}

  @Override
  public void debug(Object message) {
    keep("debug", message);
  }

  @Override
  public void debug(Object message, Throwable t) {
    keep("debug", message);
  }

  @Override
  public void info(Object message) {
    keep("info ", message);
  }

  @Override
  public void info(Object message, Throwable t) {
    keep("info ", message);
  }

  @Override
  public void warn(Object message) {
    keep("warn ", message);
  }

  @Override
  public void warn(Object message, Throwable t) {
    keep("warn ", message);
  }

  @Override
  public void error(Object message) {
    keep("error", message);
  }

  @Override
  public void error(Object message, Throwable t) {
    keep("error", message);
  }

  @Override
  public void fatal(Object message) {
    keep("fatal", message);
  }

  @Override
  public void fatal(Object message, Throwable t) {
    keep("fatal", message);
  }
}
