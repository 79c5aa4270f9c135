package zorf.loading;

import zorf.testing.RecordingLog;

/** A RecordingLog that also records which levels it is asked for, as lines "asked trace". */
public final class AskedLog extends RecordingLog {
  public AskedLog(String name) {
    super(name);
  }

  private static boolean asked(String level, boolean answer) {
    record("asked", level);
    return answer;
  }

  @Override
  public boolean isTraceEnabled() {
    return asked("trace", super.isTraceEnabled());
  }

  @Override
  public boolean isDebugEnabled() {
    return asked("debug", super.isDebugEnabled());
  }

  @Override
  public boolean isInfoEnabled() {
    return asked("info", super.isInfoEnabled());
  }

  @Override
  public boolean isWarnEnabled() {
    return asked("warn", super.isWarnEnabled());
  }

  @Override
  public boolean isErrorEnabled() {
    return asked("error", super.isErrorEnabled());
  }

  @Override
  public boolean isFatalEnabled() {
    return asked("fatal", super.isFatalEnabled());
  }
}
