package zorf.soak;

import java.util.concurrent.atomic.LongAdder;
import zorf.common.LineLog;

/** A logger that counts. Its lowest level is the system property {@code zorf.soak.level}. */
public class SoakLog extends LineLog {
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
  static boolean delivers(String level) {
    return ENABLED.contains(level);
  }

  @Override
  protected boolean enabled(String level) {
    return delivers(level);
  }

  @Override
  protected void line(String level, Object message) {
    Expect.that(delivers(level) && message != null, level + " line " + message);
    LINES.increment();
  }
}
