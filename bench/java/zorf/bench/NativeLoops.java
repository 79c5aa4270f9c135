package zorf.bench;

import org.apache.hadoop.hdfs.server.namenode.ZORFNative;

/** Calls of the natives. A row is named after its native. */
final class NativeLoops {
  static final Rows ROWS = new Rows();

  static {
    ROWS.add("getUser", t -> ZORFNative.getUser(Data.uid));
    ROWS.add("getGroup", t -> ZORFNative.getGroup(Data.gid));
    ROWS.add("getUid", t -> ZORFNative.getUid(Data.user));
    ROWS.add("getGid", t -> ZORFNative.getGid(Data.group));
    ROWS.add("getFileStatusNative", t -> ZORFNative.getFileStatusNative(Data.FILE[t], true));
    ROWS.add("getINum", t -> ZORFNative.getINum(Data.FILE[t]));
    ROWS.add("getLinkTargetNative", t -> ZORFNative.getLinkTargetNative(Data.link, 4096));
    ROWS.add("setPermission", t -> ZORFNative.setPermission(Data.modeFile, Data.MODE));
    ROWS.add(
        "getBlockLocationsNative",
        t -> ZORFNative.getBlockLocationsNative(Data.FILE[t], 0L, 1L << 30, Data.STATUS[t]));
    ROWS.add("setExtendedAttribute", t -> setAttribute(Data.PLAIN[t], "user.bench"));
    ROWS.add(
        "removeXAttr",
        t -> {
          setAttribute(Data.PLAIN[t], "user.other");
          ZORFNative.removeXAttr(Data.PLAIN[t], "user.other");
        });
    ROWS.add("listXAttrs", t -> ZORFNative.listXAttrs(Data.directory));
    ROWS.add("getXAttrs", t -> ZORFNative.getXAttrs(Data.FILE[t], Data.ONE_NAME));
    ROWS.add("dumpXAttrs", t -> ZORFNative.dumpXAttrs(Data.FILE[t]));
    ROWS.add("getAclStatus", t -> ZORFNative.getAclStatus(Data.FILE[t], Data.STATUS[t]));
    ROWS.add("getFsName", t -> findNoMount());
  }

  private NativeLoops() {}

  private static void setAttribute(String path, String name) {
    ZORFNative.setExtendedAttribute(path, name, Data.VALUE, (short) 0);
  }

  /** There is no zorf mount to be found: the whole table is read and an exception made. */
  private static void findNoMount() {
    try {
      ZORFNative.getFsName("/");
      throw new AssertionError("a zorf mount");
    } catch (Exception expected) {
      // Not declared, but thrown.
    }
  }

  /** Whole-file block locations under {@code policy} of a file that is said to be that large. */
  static void blocks(int calls, int policy, int size) {
    ZORFNative.getBlkCmd(Data.POLICY[policy], Data.HDFS_BLOCK);
    for (int i = 0; i < calls; ++i) {
      ZORFNative.getBlockLocationsNative(Data.FILE[0], 0, Data.SIZE[size], Data.BIG[size]);
    }
    ZORFNative.getBlkCmd(Data.POLICY[0], 0);
  }
}
