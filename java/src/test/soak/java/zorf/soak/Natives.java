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

  private Natives() {}

  static {
    for (Method method : ZORFNative.class.getDeclaredMethods()) {
      if (Modifier.isNative(method.getModifiers())) {
        CALLS.put(nameOf(method), new LongAdder());
      }
    }
  }

  private static void count(String name) {
    CALLS.get(name).increment();
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
    CALLS.forEach((name, counted) -> calls.put(name, counted.sum()));
    return calls;
  }

  static String getUser(int uid) {
    count("getUser(int)");
    return ZORFNative.getUser(uid);
  }

  static String getGroup(int gid) {
    count("getGroup(int)");
    return ZORFNative.getGroup(gid);
  }

  static int getUid(String user) {
    count("getUid(String)");
    return ZORFNative.getUid(user);
  }

  static int getGid(String group) {
    count("getGid(String)");
    return ZORFNative.getGid(group);
  }

  static long setFsUid(String user) {
    count("setFsUid(String)");
    return ZORFNative.setFsUid(user);
  }

  static void setFsUid(long handle) {
    count("setFsUid(long)");
    ZORFNative.setFsUid(handle);
  }

  static int setUMask(short mask) {
    count("setUMask(short)");
    return ZORFNative.setUMask(mask);
  }

  static byte[] getFileStatusNative(String path, boolean resolveLink) {
    count("getFileStatusNative(String, boolean)");
    return ZORFNative.getFileStatusNative(path, resolveLink);
  }

  static int[] getFileStatusFormatNative() {
    count("getFileStatusFormatNative()");
    return ZORFNative.getFileStatusFormatNative();
  }

  static long getINum(String path) {
    count("getINum(String)");
    return ZORFNative.getINum(path);
  }

  static byte[] getLinkTargetNative(String path, int size) {
    count("getLinkTargetNative(String, int)");
    return ZORFNative.getLinkTargetNative(path, size);
  }

  static byte[] getFailedPathNative(String path, boolean resolveLink) {
    count("getFailedPathNative(String, boolean)");
    return ZORFNative.getFailedPathNative(path, resolveLink);
  }

  static String getFsName(String mountPoint) {
    count("getFsName(String)");
    return ZORFNative.getFsName(mountPoint);
  }

  static boolean setPermission(String path, short permission) {
    count("setPermission(String, short)");
    return ZORFNative.setPermission(path, permission);
  }

  static int getBlkCmd(byte[] policy, long defaultBlockSize) {
    count("getBlkCmd(byte[], long)");
    return ZORFNative.getBlkCmd(policy, defaultBlockSize);
  }

  static byte[] getBlockLocationsNative(String path, long offset, long length, byte[] rawStatus) {
    count("getBlockLocationsNative(String, long, long, byte[])");
    return ZORFNative.getBlockLocationsNative(path, offset, length, rawStatus);
  }

  static long getBlockSizeNative(String path, byte[] rawStatus) {
    count("getBlockSizeNative(String, byte[])");
    return ZORFNative.getBlockSizeNative(path, rawStatus);
  }

  static boolean setReplication(String path, short replication, boolean restripe) {
    count("setReplication(String, short, boolean)");
    return ZORFNative.setReplication(path, replication, restripe);
  }

  static boolean setBGF(String path, int factor) {
    count("setBGF(String, int)");
    return ZORFNative.setBGF(path, factor);
  }

  static byte[] getLocatedFileStatusNative(
      String path, boolean followLinks, boolean needLocation, boolean permission) {
    count("getLocatedFileStatusNative(String, boolean, boolean, boolean)");
    return ZORFNative.getLocatedFileStatusNative(path, followLinks, needLocation, permission);
  }

  static int setExtendedAttribute(String path, String name, byte[] value, short flags) {
    count("setExtendedAttribute(String, String, byte[], short)");
    return ZORFNative.setExtendedAttribute(path, name, value, flags);
  }

  static int removeXAttr(String path, String name) {
    count("removeXAttr(String, String)");
    return ZORFNative.removeXAttr(path, name);
  }

  static String[] listXAttrs(String path) {
    count("listXAttrs(String)");
    return ZORFNative.listXAttrs(path);
  }

  static HashMap<String, byte[]> getXAttrs(String path, String[] names) {
    count("getXAttrs(String, String[])");
    return ZORFNative.getXAttrs(path, names);
  }

  static HashMap<String, byte[]> dumpXAttrs(String path) {
    count("dumpXAttrs(String)");
    return ZORFNative.dumpXAttrs(path);
  }

  static byte[] getAclStatus(String path, byte[] rawStatus) {
    count("getAclStatus(String, byte[])");
    return ZORFNative.getAclStatus(path, rawStatus);
  }

  static void setAcl(String path, byte[] specification) {
    count("setAcl(String, byte[])");
    ZORFNative.setAcl(path, specification);
  }

  static void modifyAclEntries(String path, byte[] specification) {
    count("modifyAclEntries(String, byte[])");
    ZORFNative.modifyAclEntries(path, specification);
  }

  static void removeAclEntries(String path, byte[] specification) {
    count("removeAclEntries(String, byte[])");
    ZORFNative.removeAclEntries(path, specification);
  }

  static void removeDefaultAcl(String path, boolean directory) {
    count("removeDefaultAcl(String, boolean)");
    ZORFNative.removeDefaultAcl(path, directory);
  }

  static void removeAcl(String path, boolean directory) {
    count("removeAcl(String, boolean)");
    ZORFNative.removeAcl(path, directory);
  }
}
