package zorf.loading;

import zorf.testing.RecordingLog;

/** A RecordingLog that also records which levels it is asked for, as lines "asked trace". */
public final class AskedLog extends RecordingLog {
  public AskedLog(String name) {
    super(name);
  }

  @Override
  protected boolean enabled(String level) {
    record("asked", level);
    return super.enabled(level);
  }
}
