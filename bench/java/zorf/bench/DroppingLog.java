package zorf.bench;

import org.apache.commons.logging.Log;

/** Says that its level is enabled and drops every line. */
public final class DroppingLog implements Log {
  /** 0 trace, 1 debug, 3 warn, 6 off: what the library asks for while it loads. */
  static volatile int level = 6;

  /** As commons-logging makes it. */
  public DroppingLog(String name) {}

  @Override
  public boolean isTraceEnabled() {
    return level <= 0;
  }

  @Override
  public boolean isDebugEnabled() {
    return level <= 1;
  }

  @Override
  public boolean isInfoEnabled() {
    return level <= 2;
  }

  @Override
  public boolean isWarnEnabled() {
    return level <= 3;
  }

  @Override
  public boolean isErrorEnabled() {
    return level <= 4;
  }

  @Override
  public boolean isFatalEnabled() {
    return level <= 5;
  }

  @Override
  public void trace(Object message) {}

  @Override
  public void trace(Object message, Throwable cause) {}

  @Override
  public void debug(Object message) {}

  @Override
  public void debug(Object message, Throwable cause) {}

  @Override
  public void info(Object message) {}

  @Override
  public void info(Object message, Throwable cause) {}

  @Override
  public void warn(Object message) {}

  @Override
  public void warn(Object message, Throwable cause) {}

  @Override
  public void error(Object message) {}

  @Override
  public void error(Object message, Throwable cause) {}

  @Override
  public void fatal(Object message) {}

  @Override
  public void fatal(Object message, Throwable cause) {}
}
