package zorf.bench;

import java.nio.charset.StandardCharsets;
import java.nio.file.Path;
import java.nio.file.Paths;

/** The files that the benchmark program made, and arguments made of them. */
public final class Data {
  public static final int THREADS = 8;

  /** One per thread, so that threads don't meet at one file in the kernel. */
  public static final String[] FILE = new String[THREADS];

  public static final Path[] FILE_PATH = new Path[THREADS];
  public static final String[] PLAIN = new String[THREADS];
  public static final byte[][] STATUS = new byte[THREADS][];

  /** Sizes that files are said to have, and the raw status records that say so. */
  public static final long[] SIZE = {1L << 30, 1L << 36, 1L << 40, 1L << 44};

  public static final byte[][] BIG = new byte[SIZE.length][];
  public static final long HDFS_BLOCK = 128L << 20;
  public static final byte[][] POLICY = {
    bytes("local"), bytes("shared"), bytes("rackaware"), bytes("rackaware-sort")
  };

  public static String directory;
  public static String link;
  public static String modeFile;
  public static String user;
  public static String group;
  public static int uid;
  public static int gid;
  public static final String[] ONE_NAME = {"user.attr00"};
  public static final byte[] VALUE = new byte[32];
  public static final byte[][] NAMES = new byte[20][];
  public static final short MODE = 0640;

  private Data() {}

  static void init(
      String directoryName, String userName, String groupName, int userId, int groupId) {
    directory = directoryName;
    for (int thread = 0; thread < THREADS; ++thread) {
      FILE[thread] = directory + "/file" + thread;
      FILE_PATH[thread] = Paths.get(FILE[thread]);
      PLAIN[thread] = directory + "/plain" + thread;
    }
    link = directory + "/link";
    modeFile = directory + "/mode";
    user = userName;
    group = groupName;
    uid = userId;
    gid = groupId;
    for (int i = 0; i < NAMES.length; ++i) {
      NAMES[i] = bytes(String.format("user.attr%02d", i));
    }
  }

  static void setStatus(int thread, byte[] status) {
    STATUS[thread] = status;
  }

  static void setBig(int size, byte[] status) {
    BIG[size] = status;
  }

  private static byte[] bytes(String text) {
    return text.getBytes(StandardCharsets.US_ASCII);
  }
}
