package zorf.bench;

import java.util.HashMap;

/**
 * Loops over natives of the same arguments and results that do nothing: what crossing from Java costs.
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

  private static native long setFsUid(String user);

  private static native void setFsUid(long handle);

  private static native String getFsName(String mountPoint);

  private static native String getUser(int uid);

  private static native String getGroup(int gid);

  private static native int getUid(String user);

  private static native int getGid(String group);

  private static native int setUMask(short mask);

  private static native byte[] getFileStatusNative(String path, boolean resolveLink);

  private static native int[] getFileStatusFormatNative();

  private static native long getINum(String path);

  private static native byte[] getLinkTargetNative(String path, int size);

  private static native byte[] getFailedPathNative(String path, boolean resolveLink);

  private static native boolean setPermission(String path, short permission);

  private static native int getBlkCmd(byte[] policy, long defaultBlockSize);

  private static native byte[] getBlockLocationsNative(
      String path, long offset, long length, byte[] rawStatus);

  private static native long getBlockSizeNative(String path, byte[] rawStatus);

  private static native boolean setReplication(String path, short replication, boolean restripe);

  private static native boolean setBGF(String path, int factor);

  private static native byte[] getLocatedFileStatusNative(
      String path, boolean followLinks, boolean needLocation, boolean permission);

  private static native int setExtendedAttribute(
      String path, String name, byte[] value, short flags);

  private static native int removeXAttr(String path, String name);

  private static native String[] listXAttrs(String path);

  private static native HashMap<String, byte[]> getXAttrs(String path, String[] names);

  private static native HashMap<String, byte[]> dumpXAttrs(String path);

  private static native byte[] getAclStatus(String path, byte[] rawStatus);

  private static native void setAcl(String path, byte[] specification);

  private static native void modifyAclEntries(String path, byte[] specification);

  private static native void removeAclEntries(String path, byte[] specification);

  private static native void removeDefaultAcl(String path, boolean directory);

  private static native void removeAcl(String path, boolean directory);

  /** The pair. */
  static void setFsUid(int calls, int thread) {
    for (int i = 0; i < calls; ++i) {
      setFsUid(setFsUid(Data.user));
    }
  }

  static void getFsName(int calls, int thread) {
    for (int i = 0; i < calls; ++i) {
      getFsName("/");
    }
  }

  static void getUser(int calls, int thread) {
    for (int i = 0; i < calls; ++i) {
      getUser(Data.uid);
    }
  }

  static void getGroup(int calls, int thread) {
    for (int i = 0; i < calls; ++i) {
      getGroup(Data.gid);
    }
  }

  static void getUid(int calls, int thread) {
    for (int i = 0; i < calls; ++i) {
      getUid(Data.user);
    }
  }

  static void getGid(int calls, int thread) {
    for (int i = 0; i < calls; ++i) {
      getGid(Data.group);
    }
  }

  static void setUMask(int calls, int thread) {
    for (int i = 0; i < calls; ++i) {
      setUMask((short) 022);
    }
  }

  static void getFileStatusNative(int calls, int thread) {
    for (int i = 0; i < calls; ++i) {
      getFileStatusNative(Data.FILE[thread], true);
    }
  }

  static void getFileStatusFormatNative(int calls, int thread) {
    for (int i = 0; i < calls; ++i) {
      getFileStatusFormatNative();
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

  static void getFailedPathNative(int calls, int thread) {
    for (int i = 0; i < calls; ++i) {
      getFailedPathNative(Data.FILE[thread], true);
    }
  }

  static void setPermission(int calls, int thread) {
    for (int i = 0; i < calls; ++i) {
      setPermission(Data.modeFile, Data.MODE);
    }
  }

  static void getBlkCmd(int calls, int thread) {
    for (int i = 0; i < calls; ++i) {
      getBlkCmd(Data.POLICY[0], 0L);
    }
  }

  static void getBlockLocationsNative(int calls, int thread) {
    for (int i = 0; i < calls; ++i) {
      getBlockLocationsNative(Data.FILE[thread], 0L, 1L << 30, Data.STATUS[thread]);
    }
  }

  static void getBlockSizeNative(int calls, int thread) {
    for (int i = 0; i < calls; ++i) {
      getBlockSizeNative(Data.FILE[thread], Data.STATUS[thread]);
    }
  }

  static void setReplication(int calls, int thread) {
    for (int i = 0; i < calls; ++i) {
      setReplication(Data.PLAIN[thread], (short) 3, false);
    }
  }

  static void setBGF(int calls, int thread) {
    for (int i = 0; i < calls; ++i) {
      setBGF(Data.PLAIN[thread], 32);
    }
  }

  static void getLocatedFileStatusNative(int calls, int thread) {
    for (int i = 0; i < calls; ++i) {
      getLocatedFileStatusNative(Data.FILE[thread], true, false, true);
    }
  }

  static void setExtendedAttribute(int calls, int thread) {
    for (int i = 0; i < calls; ++i) {
      setExtendedAttribute(Data.PLAIN[thread], "user.bench", Data.VALUE, (short) 0);
    }
  }

  static void removeXAttr(int calls, int thread) {
    for (int i = 0; i < calls; ++i) {
      setExtendedAttribute(Data.PLAIN[thread], "user.other", Data.VALUE, (short) 0);
      removeXAttr(Data.PLAIN[thread], "user.other");
    }
  }

  static void listXAttrs(int calls, int thread) {
    for (int i = 0; i < calls; ++i) {
      listXAttrs(Data.directory);
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

  static void setAcl(int calls, int thread) {
    for (int i = 0; i < calls; ++i) {
      setAcl(Data.PLAIN[thread], Data.specification);
    }
  }

  static void modifyAclEntries(int calls, int thread) {
    for (int i = 0; i < calls; ++i) {
      modifyAclEntries(Data.PLAIN[thread], Data.specification);
    }
  }

  static void removeAclEntries(int calls, int thread) {
    for (int i = 0; i < calls; ++i) {
      removeAclEntries(Data.PLAIN[thread], Data.specification);
    }
  }

  static void removeDefaultAcl(int calls, int thread) {
    for (int i = 0; i < calls; ++i) {
      removeDefaultAcl(Data.directory, true);
    }
  }

  static void removeAcl(int calls, int thread) {
    for (int i = 0; i < calls; ++i) {
      removeAcl(Data.PLAIN[thread], false);
    }
  }
}
