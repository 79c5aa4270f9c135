package zorf.soak;

import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.util.HashMap;
import java.util.Map;
import java.util.TreeMap;
import java.util.concurrent.atomic.LongAdder;
import org.apache.hadoop.hdfs.server.namenode.ZORFNative;

/** Every native of {@link ZORFNative}, counted. */
final class Natives {
  private static final Map<String, LongAdder> CALLS = new TreeMap<>();

  private static final LongAdder GET_USER = counter("getUser", int.class);
  private static final LongAdder GET_GROUP = counter("getGroup", int.class);
  private static final LongAdder GET_UID = counter("getUid", String.class);
  private static final LongAdder GET_GID = counter("getGid", String.class);
  private static final LongAdder SWITCH = counter("setFsUid", String.class);
  private static final LongAdder RESTORE = counter("setFsUid", long.class);
  private static final LongAdder SET_UMASK = counter("setUMask", short.class);
  private static final LongAdder GET_FILE_STATUS_NATIVE =
      counter("getFileStatusNative", String.class, boolean.class);
  private static final LongAdder GET_FILE_STATUS_FORMAT_NATIVE =
      counter("getFileStatusFormatNative");
  private static final LongAdder GET_INUM = counter("getINum", String.class);
  private static final LongAdder GET_LINK_TARGET_NATIVE =
      counter("getLinkTargetNative", String.class, int.class);
  private static final LongAdder GET_FAILED_PATH_NATIVE =
      counter("getFailedPathNative", String.class, boolean.class);
  private static final LongAdder GET_FS_NAME = counter("getFsName", String.class);
  private static final LongAdder SET_PERMISSION =
      counter("setPermission", String.class, short.class);
  private static final LongAdder GET_BLK_CMD = counter("getBlkCmd", byte[].class, long.class);
  private static final LongAdder GET_BLOCK_LOCATIONS_NATIVE =
      counter("getBlockLocationsNative", String.class, long.class, long.class, byte[].class);
  private static final LongAdder GET_BLOCK_SIZE_NATIVE =
      counter("getBlockSizeNative", String.class, byte[].class);
  private static final LongAdder SET_REPLICATION =
      counter("setReplication", String.class, short.class, boolean.class);
  private static final LongAdder SET_BGF = counter("setBGF", String.class, int.class);
  private static final LongAdder GET_LOCATED_FILE_STATUS_NATIVE =
      counter(
          "getLocatedFileStatusNative", String.class, boolean.class, boolean.class, boolean.class);
  private static final LongAdder SET_EXTENDED_ATTRIBUTE =
      counter("setExtendedAttribute", String.class, String.class, byte[].class, short.class);
  private static final LongAdder REMOVE_X_ATTR = counter("removeXAttr", String.class, String.class);
  private static final LongAdder LIST_X_ATTRS = counter("listXAttrs", String.class);
  private static final LongAdder GET_X_ATTRS = counter("getXAttrs", String.class, String[].class);
  private static final LongAdder DUMP_X_ATTRS = counter("dumpXAttrs", String.class);
  private static final LongAdder GET_ACL_STATUS =
      counter("getAclStatus", String.class, byte[].class);
  private static final LongAdder SET_ACL = counter("setAcl", String.class, byte[].class);
  private static final LongAdder MODIFY_ACL_ENTRIES =
      counter("modifyAclEntries", String.class, byte[].class);
  private static final LongAdder REMOVE_ACL_ENTRIES =
      counter("removeAclEntries", String.class, byte[].class);
  private static final LongAdder REMOVE_DEFAULT_ACL =
      counter("removeDefaultAcl", String.class, boolean.class);
  private static final LongAdder REMOVE_ACL = counter("removeAcl", String.class, boolean.class);

  private Natives() {}

  private static LongAdder counter(String name, Class<?>... parameters) {
    try {
      LongAdder calls = new LongAdder();
      CALLS.put(nameOf(ZORFNative.class.getDeclaredMethod(name, parameters)), calls);
      return calls;
    } catch (NoSuchMethodException e) {
      throw new IllegalStateException(e);
    }
  }

  private static String nameOf(Method method) {
    StringBuilder name = new StringBuilder(method.getName()).append("(");
    for (Class<?> parameter : method.getParameterTypes()) {
      name.append(name.charAt(name.length() - 1) == '(' ? "" : ", ");
      name.append(parameter.getSimpleName());
    }
    return name.append(")").toString();
  }

  /** The calls of each native that the class declares; 0 for one that this program lacks. */
  static Map<String, Long> calls() {
    Map<String, Long> calls = new TreeMap<>();
    for (Method method : ZORFNative.class.getDeclaredMethods()) {
      if (Modifier.isNative(method.getModifiers())) {
        LongAdder counted = CALLS.get(nameOf(method));
        calls.put(nameOf(method), counted == null ? 0 : counted.sum());
      }
    }
    return calls;
  }

  static String getUser(int uid) {
    GET_USER.increment();
    return ZORFNative.getUser(uid);
  }

  static String getGroup(int gid) {
    GET_GROUP.increment();
    return ZORFNative.getGroup(gid);
  }

  static int getUid(String user) {
    GET_UID.increment();
    return ZORFNative.getUid(user);
  }

  static int getGid(String group) {
    GET_GID.increment();
    return ZORFNative.getGid(group);
  }

  static long setFsUid(String user) {
    SWITCH.increment();
    return ZORFNative.setFsUid(user);
  }

  static void setFsUid(long handle) {
    RESTORE.increment();
    ZORFNative.setFsUid(handle);
  }

  static int setUMask(short mask) {
    SET_UMASK.increment();
    return ZORFNative.setUMask(mask);
  }

  static byte[] getFileStatusNative(String path, boolean resolveLink) {
    GET_FILE_STATUS_NATIVE.increment();
    return ZORFNative.getFileStatusNative(path, resolveLink);
  }

  static int[] getFileStatusFormatNative() {
    GET_FILE_STATUS_FORMAT_NATIVE.increment();
    return ZORFNative.getFileStatusFormatNative();
  }

  static long getINum(String path) {
    GET_INUM.increment();
    return ZORFNative.getINum(path);
  }

  static byte[] getLinkTargetNative(String path, int size) {
    GET_LINK_TARGET_NATIVE.increment();
    return ZORFNative.getLinkTargetNative(path, size);
  }

  static byte[] getFailedPathNative(String path, boolean resolveLink) {
    GET_FAILED_PATH_NATIVE.increment();
    return ZORFNative.getFailedPathNative(path, resolveLink);
  }

  static String getFsName(String mountPoint) {
    GET_FS_NAME.increment();
    return ZORFNative.getFsName(mountPoint);
  }

  static boolean setPermission(String path, short permission) {
    SET_PERMISSION.increment();
    return ZORFNative.setPermission(path, permission);
  }

  static int getBlkCmd(byte[] policy, long defaultBlockSize) {
    GET_BLK_CMD.increment();
    return ZORFNative.getBlkCmd(policy, defaultBlockSize);
  }

  static byte[] getBlockLocationsNative(String path, long offset, long length, byte[] rawStatus) {
    GET_BLOCK_LOCATIONS_NATIVE.increment();
    return ZORFNative.getBlockLocationsNative(path, offset, length, rawStatus);
  }

  static long getBlockSizeNative(String path, byte[] rawStatus) {
    GET_BLOCK_SIZE_NATIVE.increment();
    return ZORFNative.getBlockSizeNative(path, rawStatus);
  }

  static boolean setReplication(String path, short replication, boolean restripe) {
    SET_REPLICATION.increment();
    return ZORFNative.setReplication(path, replication, restripe);
  }

  static boolean setBGF(String path, int factor) {
    SET_BGF.increment();
    return ZORFNative.setBGF(path, factor);
  }

  static byte[] getLocatedFileStatusNative(
      String path, boolean followLinks, boolean needLocation, boolean permission) {
    GET_LOCATED_FILE_STATUS_NATIVE.increment();
    return ZORFNative.getLocatedFileStatusNative(path, followLinks, needLocation, permission);
  }

  static int setExtendedAttribute(String path, String name, byte[] value, short flags) {
    SET_EXTENDED_ATTRIBUTE.increment();
    return ZORFNative.setExtendedAttribute(path, name, value, flags);
  }

  static int removeXAttr(String path, String name) {
    REMOVE_X_ATTR.increment();
    return ZORFNative.removeXAttr(path, name);
  }

  static String[] listXAttrs(String path) {
    LIST_X_ATTRS.increment();
    return ZORFNative.listXAttrs(path);
  }

  static HashMap<String, byte[]> getXAttrs(String path, String[] names) {
    GET_X_ATTRS.increment();
    return ZORFNative.getXAttrs(path, names);
  }

  static HashMap<String, byte[]> dumpXAttrs(String path) {
    DUMP_X_ATTRS.increment();
    return ZORFNative.dumpXAttrs(path);
  }

  static byte[] getAclStatus(String path, byte[] rawStatus) {
    GET_ACL_STATUS.increment();
    return ZORFNative.getAclStatus(path, rawStatus);
  }

  static void setAcl(String path, byte[] specification) {
    SET_ACL.increment();
    ZORFNative.setAcl(path, specification);
  }

  static void modifyAclEntries(String path, byte[] specification) {
    MODIFY_ACL_ENTRIES.increment();
    ZORFNative.modifyAclEntries(path, specification);
  }

  static void removeAclEntries(String path, byte[] specification) {
    REMOVE_ACL_ENTRIES.increment();
    ZORFNative.removeAclEntries(path, specification);
  }

  static void removeDefaultAcl(String path, boolean directory) {
    REMOVE_DEFAULT_ACL.increment();
    ZORFNative.removeDefaultAcl(path, directory);
  }

  static void removeAcl(String path, boolean directory) {
    REMOVE_ACL.increment();
    ZORFNative.removeAcl(path, directory);
  }
}
