package zorf.bench;

import org.apache.hadoop.hdfs.server.namenode.ZORFNative;

/** Loops over the natives. Each method is one row, named after its native. */
final class NativeLoops {
  private NativeLoops() {}

  /** Whole-file block locations under {@code policy} of a file that is said to be that large. */
  static void blocks(int calls, int policy, int size) {
    ZORFNative.getBlkCmd(Data.POLICY[policy], Data.HDFS_BLOCK);
    for (int i = 0; i < calls; ++i) {
      ZORFNative.getBlockLocationsNative(Data.FILE[0], 0, Data.SIZE[size], Data.BIG[size]);
    }
    ZORFNative.getBlkCmd(Data.POLICY[0], 0);
  }

  static void getUser(int calls, int thread) {
    for (int i = 0; i < calls; ++i) {
      ZORFNative.getUser(Data.uid);
    }
  }

  static void getGroup(int calls, int thread) {
    for (int i = 0; i < calls; ++i) {
      ZORFNative.getGroup(Data.gid);
    }
  }

  static void getUid(int calls, int thread) {
    for (int i = 0; i < calls; ++i) {
      ZORFNative.getUid(Data.user);
    }
  }

  static void getGid(int calls, int thread) {
    for (int i = 0; i < calls; ++i) {
      ZORFNative.getGid(Data.group);
    }
  }

  static void getFileStatusNative(int calls, int thread) {
    for (int i = 0; i < calls; ++i) {
      ZORFNative.getFileStatusNative(Data.FILE[thread], true);
    }
  }

  static void getINum(int calls, int thread) {
    for (int i = 0; i < calls; ++i) {
      ZORFNative.getINum(Data.FILE[thread]);
    }
  }

  static void getLinkTargetNative(int calls, int thread) {
    for (int i = 0; i < calls; ++i) {
      ZORFNative.getLinkTargetNative(Data.link, 4096);
    }
  }

  static void setPermission(int calls, int thread) {
    for (int i = 0; i < calls; ++i) {
      ZORFNative.setPermission(Data.modeFile, Data.MODE);
    }
  }

  static void getBlockLocationsNative(int calls, int thread) {
    for (int i = 0; i < calls; ++i) {
      ZORFNative.getBlockLocationsNative(Data.FILE[thread], 0L, 1L << 30, Data.STATUS[thread]);
    }
  }

  static void setExtendedAttribute(int calls, int thread) {
    for (int i = 0; i < calls; ++i) {
      ZORFNative.setExtendedAttribute(Data.PLAIN[thread], "user.bench", Data.VALUE, (short) 0);
    }
  }

  static void removeXAttr(int calls, int thread) {
    for (int i = 0; i < calls; ++i) {
      ZORFNative.setExtendedAttribute(Data.PLAIN[thread], "user.other", Data.VALUE, (short) 0);
      ZORFNative.removeXAttr(Data.PLAIN[thread], "user.other");
    }
  }

  static void listXAttrs(int calls, int thread) {
    for (int i = 0; i < calls; ++i) {
      ZORFNative.listXAttrs(Data.directory);
    }
  }

  static void getXAttrs(int calls, int thread) {
    for (int i = 0; i < calls; ++i) {
      ZORFNative.getXAttrs(Data.FILE[thread], Data.ONE_NAME);
    }
  }

  static void dumpXAttrs(int calls, int thread) {
    for (int i = 0; i < calls; ++i) {
      ZORFNative.dumpXAttrs(Data.FILE[thread]);
    }
  }

  static void getAclStatus(int calls, int thread) {
    for (int i = 0; i < calls; ++i) {
      ZORFNative.getAclStatus(Data.FILE[thread], Data.STATUS[thread]);
    }
  }

  /** There is no zorf mount to be found: the whole table is read and an exception made. */
  static void getFsName(int calls, int thread) {
    for (int i = 0; i < calls; ++i) {
      try {
        ZORFNative.getFsName("/");
        throw new AssertionError("a zorf mount");
      } catch (Exception expected) {
        // Not declared, but thrown.
      }
    }
  }
}
