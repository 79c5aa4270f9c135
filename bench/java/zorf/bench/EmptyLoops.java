package zorf.bench;

import java.util.HashMap;

/**
 * Calls of natives of the same arguments and results that do next to nothing: what crossing from
 * Java costs.
 */
final class EmptyLoops {
  static final Rows ROWS = new Rows();

  static {
    ROWS.add("getFileStatusNative", t -> getFileStatusNative(Data.FILE[t], true));
    ROWS.add("getINum", t -> getINum(Data.FILE[t]));
    ROWS.add("getLinkTargetNative", t -> getLinkTargetNative(Data.link, 4096));
    ROWS.add("setPermission", t -> setPermission(Data.modeFile, Data.MODE));
    ROWS.add("getXAttrs", t -> getXAttrs(Data.FILE[t], Data.ONE_NAME));
    ROWS.add("dumpXAttrs", t -> dumpXAttrs(Data.FILE[t]));
    ROWS.add("getAclStatus", t -> getAclStatus(Data.FILE[t], Data.STATUS[t]));
  }

  private EmptyLoops() {}

  /** A result of the size that {@link NativeLoops#blocks} gets. */
  static void blocks(int calls, int policy, int size) {
    for (int i = 0; i < calls; ++i) {
      blocksOfSize(Data.FILE[0], 0, Data.SIZE[size], Data.BIG[size], policy, size);
    }
  }

  /** The same results as of {@link NativeLoops#blocks}, made the plain way. */
  static void plainBlocks(int calls, int policy, int size) {
    for (int i = 0; i < calls; ++i) {
      plainBlocks(Data.FILE[0], Data.BIG[size], policy);
    }
  }

  private static native byte[] plainBlocks(String path, byte[] rawStatus, int policy);

  private static native byte[] blocksOfSize(
      String path, long offset, long length, byte[] rawStatus, int policy, int size);

  private static native byte[] getFileStatusNative(String path, boolean resolveLink);

  private static native long getINum(String path);

  private static native byte[] getLinkTargetNative(String path, int size);

  private static native boolean setPermission(String path, short permission);

  private static native HashMap<String, byte[]> getXAttrs(String path, String[] names);

  private static native HashMap<String, byte[]> dumpXAttrs(String path);

  private static native byte[] getAclStatus(String path, byte[] rawStatus);
}
