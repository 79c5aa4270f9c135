package zorf.bench;

import java.util.HashMap;

/**
 * Loops over natives of the same arguments and results that do next to nothing: what crossing from
 * Java costs.
 */
final class EmptyLoops {
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

  static void getFileStatusNative(int calls, int thread) {
    for (int i = 0; i < calls; ++i) {
      getFileStatusNative(Data.FILE[thread], true);
    }
  }

  static void getINum(int calls, int thread) {
    for (int i = 0; i < calls; ++i) {
      getINum(Data.FILE[thread]);
    }
  }

  static void getLinkTargetNative(int calls, int thread) {
    for (int i = 0; i < calls; ++i) {
      getLinkTargetNative(Data.link, 4096);
    }
  }

  static void setPermission(int calls, int thread) {
    for (int i = 0; i < calls; ++i) {
      setPermission(Data.modeFile, Data.MODE);
    }
  }

  static void getXAttrs(int calls, int thread) {
    for (int i = 0; i < calls; ++i) {
      getXAttrs(Data.FILE[thread], Data.ONE_NAME);
    }
  }

  static void dumpXAttrs(int calls, int thread) {
    for (int i = 0; i < calls; ++i) {
      dumpXAttrs(Data.FILE[thread]);
    }
  }

  static void getAclStatus(int calls, int thread) {
    for (int i = 0; i < calls; ++i) {
      getAclStatus(Data.FILE[thread], Data.STATUS[thread]);
    }
  }
}
