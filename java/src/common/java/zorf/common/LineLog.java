package zorf.common;

import org.apache.commons.logging.Log;

/** A commons-logging Log of two methods: whether a level is on, and what becomes of a line. */
public abstract class LineLog implements Log {
  /**
   * Whether lines of a level are wanted.
   *
   * @param level "trace", "debug", "info", "warn", "error" or "fatal"
   */
  protected abstract boolean enabled(String level);

  /** Takes one line of that level. */
  protected abstract void line(String level, Object message);

  @Override
  public boolean isTraceEnabled() {
    return enabled("trace");
  }

  @Override
  public boolean isDebugEnabled() {
    return enabled("debug");
  }

  @Override
  public boolean isInfoEnabled() {
    return enabled("info");
  }

  @Override
  public boolean isWarnEnabled() {
    return enabled("warn");
  }

  @Override
  public boolean isErrorEnabled() {
    return enabled("error");
  }

  @Override
  public boolean isFatalEnabled() {
    return enabled("fatal");
  }

  @Override
  public void trace(Object message) {
    line("trace", message);
  }

  @Override
  public void trace(Object message, Throwable t) {
    line("trace", message);
  }

  @Override
  public void debug(Object message) {
    line("debug", message);
  }

  @Override
  public void debug(Object message, Throwable t) {
    line("debug", message);
  }

  @Override
  public void info(Object message) {
    line("info", message);
  }

  @Override
  public void info(Object message, Throwable t) {
    line("info", message);
  }

  @Override
  public void warn(Object message) {
    line("warn", message);
  }

  @Override
  public void warn(Object message, Throwable t) {
    line("warn", message);
  }

  @Override
  public void error(Object message) {
    line("error", message);
  }

  @Override
  public void error(Object message, Throwable t) {
    line("error", message);
  }

  @Override
  public void fatal(Object message) {
    line("fatal", message);
  }

  @Override
  public void fatal(Object message, Throwable t) {
    line("fatal", message);
  }
}
