package zorf.namenode.soak;

/** The lines in which a client tells what has happened. */
final class Report {
  static final String COUNTS = "counts ";
  static final String FAILED = "failed ";
  static final String WRONG = "wrong ";

  private Report() {}

  /** How many calls there were so far; to who is told to pause, none runs by then. */
  static String counts(long calls, long refusals) {
    return COUNTS + calls + " " + refusals;
  }

  /** What had to work did not: no more than a nuisance while something is broken. */
  static String failed(long began, String user, String what, Exception e) {
    return FAILED + began + " " + user + ": " + what + ": " + line(e);
  }

  /** What must never be, whatever is broken. */
  static String wrong(String user, String what) {
    return WRONG + user + ": " + what;
  }

  private static String line(Exception e) {
    return e.toString().split("\n")[0];
  }
}
