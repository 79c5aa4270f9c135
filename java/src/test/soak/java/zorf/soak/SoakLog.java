package zorf.soak;

import java.util.concurrent.atomic.LongAdder;
import org.apache.commons.logging.Log;

/** A logger that counts. Its lowest level is the system property {@code zorf.soak.level}. */
public class SoakLog implements Log {
  private static final String LEVELS = "trace,debug,info,warn,error,fatal";
  private static final String ENABLED =
      LEVELS.substring(LEVELS.indexOf(System.getProperty("zorf.soak.level", "trace")));

  private static final LongAdder LINES = new LongAdder();

  /**
   * Made by commons-logging.
   *
   * @param name the name of the log
   */
  public SoakLog(String name) {}

  static long lines() {
    return LINES.sum();
  }

  /** Whether lines of a level are delivered. */
  static boolean enabled(String level) {
    return ENABLED.contains(level);
  }

  private static void take(String level, Object line) {
    Expect.that(enabled(level) && line != null, level + " line " + line);
    LINES.increment();
  }

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
    take("trace", message);
  }

  @Override
  public void trace(Object message, Throwable t) {
    take("trace", message);
  }

  @Override
  public void debug(Object message) {
    take("debug", message);
  }

  @Override
  public void debug(Object message, Throwable t) {
    take("debug", message);
  }

  @Override
  public void info(Object message) {
    take("info", message);
  }

  @Override
  public void info(Object message, Throwable t) {
    take("info", message);
  }

  @Override
  public void warn(Object message) {
    take("warn", message);
  }

  @Override
  public void warn(Object message, Throwable t) {
    take("warn", message);
  }

  @Override
  public void error(Object message) {
    take("error", message);
  }

  @Override
  public void error(Object message, Throwable t) {
    take("error", message);
  }

  @Override
  public void fatal(Object message) {
    take("fatal", message);
  }

  @Override
  public void fatal(Object message, Throwable t) {
    take("fatal", message);
  }
}
