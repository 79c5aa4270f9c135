package zorf.loading;

import java.nio.charset.StandardCharsets;
import java.util.Arrays;
import org.apache.hadoop.hdfs.server.namenode.ZORFNative;
import zorf.testing.RecordingLog;

/**
 * What a child JVM runs. Every argument is a step, a name and mostly "=argument"; for each it
 * prints one line with the result or the exception, after that each log line of the step behind
 * "  ", the source line number replaced by "#". A log line without that prefix is shown as it is.
 */
public final class Probe {
  private Probe() {}

  /**
   * Runs the steps.
   *
   * @param steps see {@link #run}
   */
  public static void main(String[] steps) {
    boolean logs = true;
    for (String step : steps) {
      if (step.equals("nolog")) {
        logs = false; // RecordingLog can't be loaded in this child
        continue;
      }
      String name = step.split("=", 2)[0];
      String argument = step.contains("=") ? step.split("=", 2)[1] : "";
      String result;
      try {
        result = run(name, argument);
      } catch (Throwable e) {
        result = "throws " + e.getClass().getName() + ": " + e.getMessage();
      }
      System.out.println(name + " " + result);
      if (logs) {
        for (String line : RecordingLog.take()) {
          System.out.println("  " + line.replaceFirst("^(\\w+ @\\w+):[0-9]+ ", "$1:# "));
        }
      }
    }
  }

  private static String run(String step, String argument) throws Exception {
    switch (step) {
      case "load":
        Class.forName("org.apache.hadoop.hdfs.server.namenode.ZORFNative");
        return "done";
      case "loadfile":
        System.load(argument);
        return "done";
      case "inum":
        return String.valueOf(ZORFNative.getINum(argument));
      case "user":
        return ZORFNative.getUser(Integer.parseInt(argument));
      case "status":
        return ZORFNative.getFileStatusNative(argument, true).length + " bytes";
      case "lost":
        return lost(argument);
      case "policy":
        return String.valueOf(
            ZORFNative.getBlkCmd(argument.getBytes(StandardCharsets.US_ASCII), 1 << 20));
      case "blocks":
        return ZORFNative.getBlockLocationsNative(argument, 0, 1, null).length + " bytes";
      case "aclstatus":
        return Arrays.toString(ZORFNative.getAclStatus(argument, null));
      default:
        throw new IllegalArgumentException("unknown step " + step);
    }
  }

  /** Asks for the blocks of a missing file with a directory's status: a line of every level. */
  private static String lost(String path) {
    byte[] directory = ZORFNative.getFileStatusNative("/", true);
    RecordingLog.take();
    return String.valueOf(ZORFNative.getBlockLocationsNative(path, 0, 1, directory));
  }
}
