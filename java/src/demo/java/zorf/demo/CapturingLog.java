package zorf.demo;

import java.util.ArrayList;
import java.util.List;
import org.apache.commons.logging.Log;

/** A logger at debug that keeps its lines until they are taken. */
public final class CapturingLog implements Log {
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

  private static void keep(String level, Object message) {
    synchronized (LINES) {
      LINES.add(level + " " + message);
    }
  }

  @Override
  public boolean isTraceEnabled() {
    return false;
  }

  @Override
  public boolean isDebugEnabled() {
    return true;
  }

  @Override
  public boolean isInfoEnabled() {
    return true;
  }

  @Override
  public boolean isWarnEnabled() {
    return true;
  }

  @Override
  public boolean isErrorEnabled() {
    return true;
  }

  @Override
  public boolean isFatalEnabled() {
    return true;
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
