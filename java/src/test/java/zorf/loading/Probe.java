package zorf.loading;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Paths;
import java.util.Arrays;
import org.apache.hadoop.hdfs.server.namenode.ZORFNative;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockLocations;
import org.apache.hadoop.hdfs.server.namenode.zorf.FileStatus;
import org.apache.hadoop.hdfs.server.namenode.zorf.StatusLayout;
import zorf.testing.RecordingLog;

/**
 * What a child JVM runs. Every argument is a step, a name and mostly "=argument"; for each it
 * prints one line with the result or the exception, after that each log line of the step behind
 * "  ", the source line number replaced by "#". A log line without that prefix is shown as it is.
 */
public final class Probe {
  /** Where a raw status record of x86-64 has st_blksize. */
  private static final int BLOCK_SIZE_OFFSET = 56;

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
        return status(argument, true);
      case "linkstatus":
        return status(argument, false);
      case "lost":
        return lost(argument);
      case "setbgf":
        return String.valueOf(
            ZORFNative.setBGF(argument.split(",")[0], Integer.parseInt(argument.split(",")[1])));
      case "policy":
        return policy(argument);
      case "blocksize":
        return String.valueOf(ZORFNative.getBlockSizeNative(argument, null));
      case "blocks":
        return blocks(argument);
      case "entries":
        return entries(argument);
      case "link":
        return target(argument);
      case "aclstatus":
        return Arrays.toString(ZORFNative.getAclStatus(argument, null));
      default:
        throw new IllegalArgumentException("unknown step " + step);
    }
  }

  /** All fields of a status, in one line. */
  private static String status(String path, boolean resolveLink) {
    StatusLayout layout = new StatusLayout(ZORFNative.getFileStatusFormatNative());
    FileStatus status = layout.decode(ZORFNative.getFileStatusNative(path, resolveLink));
    return status.inode()
        + " "
        + status.mode()
        + " "
        + status.size()
        + " "
        + status.uid()
        + " "
        + status.gid()
        + " "
        + status.accessTime()
        + " "
        + status.modificationTime()
        + " "
        + status.changeTime();
  }

  /** Asks for the blocks of a missing file with a directory's status: a line of every level. */
  private static String lost(String path) {
    byte[] directory = ZORFNative.getFileStatusNative("/", true);
    RecordingLog.take();
    return String.valueOf(ZORFNative.getBlockLocationsNative(path, 0, 1, directory));
  }

  /** "NAME,BLOCKSIZE": chooses a policy. */
  private static String policy(String argument) {
    byte[] name = argument.split(",")[0].getBytes(StandardCharsets.US_ASCII);
    return String.valueOf(ZORFNative.getBlkCmd(name, Long.parseLong(argument.split(",")[1])));
  }

  /** "PATH,OFFSET,LENGTH": the header of the stream, and its first entry. */
  private static String blocks(String argument) {
    String[] parts = argument.split(",");
    long offset = Long.parseLong(parts[1]);
    long length = Long.parseLong(parts[2]);
    BlockLocations found =
        BlockLocations.decode(ZORFNative.getBlockLocationsNative(parts[0], offset, length, null));
    StringBuilder line = new StringBuilder(found.toString());
    for (int i = 0; i < Math.min(found.blockCount(), 1); i++) {
      line.append(" ").append(Arrays.toString(found.ids(i)));
      line.append(" ").append(Arrays.toString(found.secondWords(i)));
    }
    return line.toString();
  }

  /** "PATH,BLOCKSIZE": all entries, asked with a status record of that st_blksize. */
  private static String entries(String argument) {
    String path = argument.split(",")[0];
    byte[] record = ZORFNative.getFileStatusNative(path, true);
    long size = new StatusLayout(ZORFNative.getFileStatusFormatNative()).decode(record).size();
    ByteBuffer.wrap(record)
        .order(ByteOrder.nativeOrder())
        .putLong(BLOCK_SIZE_OFFSET, Long.parseLong(argument.split(",")[1]));
    BlockLocations found =
        BlockLocations.decode(ZORFNative.getBlockLocationsNative(path, 0, size, record));
    StringBuilder line = new StringBuilder();
    for (int block = 0; block < found.blockCount(); block++) {
      line.append(block == 0 ? "" : ";");
      for (int word : found.ids(block)) {
        line.append(word).append(" ");
      }
      for (int word : found.secondWords(block)) {
        line.append(word).append(" ");
      }
    }
    return line.toString();
  }

  private static String target(String path) throws Exception {
    int size = Files.readSymbolicLink(Paths.get(path)).toString().length();
    return new String(ZORFNative.getLinkTargetNative(path, size), StandardCharsets.UTF_8);
  }
}
