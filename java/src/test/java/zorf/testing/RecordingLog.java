package zorf.testing;

import java.util.ArrayList;
import java.util.List;
import zorf.common.LineLog;

/**
 * A commons-logging Log that keeps what it is given. One store for the process, for any thread.
 * Chosen with {@code -Dorg.apache.commons.logging.Log=zorf.testing.RecordingLog}.
 */
public class RecordingLog extends LineLog {
  /**
   * The levels that is*Enabled() answers true for, from the system property {@code
   * zorf.test.levels}: words such as "info,fatal". All by default.
   */
  private static final String LEVELS =
      System.getProperty("zorf.test.levels", "trace,debug,info,warn,error,fatal");

  private static final List<String> LINES = new ArrayList<>();

  /** What deliveries throw instead of recording; null to record. */
  public static volatile RuntimeException thrown;

  /** How many lines are still recorded before one throws; after it all are recorded. Below 0: all throw. */
  public static volatile int linesBeforeThrow = -1;

  /** Run for every line before it is recorded; null for nothing. */
  public static volatile Runnable onLine;

  public RecordingLog(String name) {}

  /** All lines since the last call, each "level text". */
  public static String[] take() {
    synchronized (LINES) {
      String[] lines = LINES.toArray(new String[0]);
      LINES.clear();
      return lines;
    }
  }

  protected static void record(String level, Object message) {
    Runnable hook = onLine;
    if (hook != null) {
      hook.run();
    }
    RuntimeException toThrow = thrown;
    if (toThrow != null && isTheOneToThrowAt()) {
      throw toThrow;
    }
    synchronized (LINES) {
      LINES.add(level + " " + message);
    }
  }

  private static boolean isTheOneToThrowAt() {
    synchronized (LINES) {
      int before = linesBeforeThrow;
      if (before < 0) {
        return true;
      }
      if (before == 0) {
        thrown = null;
        linesBeforeThrow = -1;
        return true;
      }
      linesBeforeThrow = before - 1;
      return false;
    }
  }

  @Override
  protected boolean enabled(String level) {
    return ("," + LEVELS + ",").contains("," + level + ",");
  }

  @Override
  protected void line(String level, Object message) {
    record(level, message);
  }
}
