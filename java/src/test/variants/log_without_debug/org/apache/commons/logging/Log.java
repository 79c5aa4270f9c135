package org.apache.commons.logging;

/** A Log that lacks debug(Object). */
public interface Log {
  boolean isTraceEnabled();

  boolean isDebugEnabled();

  boolean isInfoEnabled();

  boolean isWarnEnabled();

  boolean isErrorEnabled();

  boolean isFatalEnabled();

  void trace(Object message);

  void info(Object message);

  void warn(Object message);

  void error(Object message);

  void fatal(Object message);
}
