package zorf.testing;

import java.io.IOException;
import org.apache.hadoop.hdfs.server.namenode.ZORFNative;

/**
 * Calls natives of the library that is really loaded whenever a line is logged, save for the lines
 * of these calls themselves. To be set as {@link RecordingLog#onLine}; for one thread.
 */
public final class CallBack implements Runnable {
  /** Lines that natives were called for. */
  public static int lines;

  /** Answers that were not as they must be. */
  public static int wrongAnswers;

  private final boolean many;
  private boolean inside;

  /** With {@code many} false, the one native called is a failing stat. */
  public CallBack(boolean many) {
    this.many = many;
  }

  @Override
  public void run() {
    if (inside) {
      return;
    }
    inside = true;
    try {
      ++lines;
      if (many) {
        callMany();
      }
      failToFind();
    } finally {
      inside = false;
    }
  }

  private static void callMany() {
    expect(ZORFNative.getINum("/") > 0);
    expect(ZORFNative.getFileStatusNative("/", true).length == 144);
    expect(ZORFNative.getAclStatus("/", null).length >= 36);
    expect("root".equals(ZORFNative.getUser(0)));
    expect(ZORFNative.getUid("root") == 0);
    ZORFNative.setFsUid(ZORFNative.setFsUid("root"));
  }

  // Last, so that the caller finds this errno.
  private static void failToFind() {
    try {
      ZORFNative.getINum("/zorf/no/such/file");
      expect(false);
    } catch (Exception e) {
      expect(e instanceof IOException);
    }
  }

  private static void expect(boolean holds) {
    if (!holds) {
      ++wrongAnswers;
    }
  }
}
