package zorf.stack;

import zorf.common.LineLog;

/** A log that takes everything or nothing, by the system property {@code zorf.stack.log}. */
public final class StackLog extends LineLog {
  private static final boolean ON = Boolean.getBoolean("zorf.stack.log");

  public StackLog(String name) {}

  @Override
  protected boolean enabled(String level) {
    return ON;
  }

  @Override
  protected void line(String level, Object message) {}
}
