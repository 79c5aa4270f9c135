package zorf.namenode;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;

import java.lang.reflect.Array;
import java.lang.reflect.InvocationTargetException;
import java.lang.reflect.Method;
import java.util.TreeSet;
import org.apache.hadoop.hdfs.protocol.ClientProtocol;
import org.apache.hadoop.hdfs.protocol.HdfsConstants.SafeModeAction;
import org.junit.jupiter.api.AfterAll;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.function.Executable;

class UnsupportedTest {
  private static Served served;
  private static ClientProtocol nameNode;

  @BeforeAll
  static void serve() throws Exception {
    served = Served.start();
    nameNode = served.as("root").getClient().getNamenode();
  }

  @AfterAll
  static void close() throws Exception {
    served.close();
  }

  private static void unsupported(String name, Executable call) {
    Refused.with(
        UnsupportedOperationException.class, name + " is not supported on zorf", call);
  }

  @Test
  void whatIsNotAnsweredSaysSoByName() {
    unsupported("createSnapshot", () -> nameNode.createSnapshot("/", "s"));
    unsupported("allowSnapshot", () -> nameNode.allowSnapshot("/"));
    unsupported("createEncryptionZone", () -> nameNode.createEncryptionZone("/", "key"));
    unsupported("setErasureCodingPolicy", () -> nameNode.setErasureCodingPolicy("/", "RS-6-3-1024k"));
    unsupported("listCachePools", () -> nameNode.listCachePools(""));
    unsupported("setQuota", () -> nameNode.setQuota("/", 1, 1, null));
    unsupported("setStoragePolicy", () -> nameNode.setStoragePolicy("/", "HOT"));
    unsupported("rollEdits", () -> nameNode.rollEdits());
    unsupported("safe mode", () -> nameNode.setSafeMode(SafeModeAction.SAFEMODE_ENTER, false));
  }

  @Test
  void safeModeIsOff() throws Exception {
    assertFalse(nameNode.setSafeMode(SafeModeAction.SAFEMODE_GET, false));
  }

  /** One that is added, or lost by a slip in a name, shows here. */
  @Test
  void theAnsweredCallsAreThese() throws Exception {
    TreeSet<String> answered = new TreeSet<>();
    for (Method method : ClientProtocol.class.getMethods()) {
      if (!isUnsupported(method)) {
        answered.add(method.getName());
      }
    }
    assertEquals(
        "abandonBlock, addBlock, append, checkAccess, complete, create, createSymlink, delete, fsync, "
            + "getAclStatus, getBlockLocations, getContentSummary, getDataEncryptionKey, "
            + "getDatanodeReport, getDelegationToken, getECBlockGroupStats, getEnclosingRoot, "
            + "getFileInfo, getFileLinkInfo, getHAServiceState, getLinkTarget, getListing, "
            + "getLocatedFileInfo, getPreferredBlockSize, getQuotaUsage, "
            + "getReplicatedBlockStats, getServerDefaults, getSlowDatanodeReport, getStats, "
            + "getStoragePolicies, getXAttrs, isFileClosed, listXAttrs, mkdirs, "
            + "modifyAclEntries, msync, recoverLease, removeAcl, removeAclEntries, "
            + "removeDefaultAcl, removeXAttr, rename, rename2, renewLease, setAcl, setOwner, "
            + "setPermission, setReplication, setTimes, setXAttr, truncate",
        String.join(", ", answered));
  }

  private static boolean isUnsupported(Method method) throws Exception {
    ClientProtocol local = served.answers();
    Object[] arguments = new Object[method.getParameterCount()];
    Class<?>[] types = method.getParameterTypes();
    for (int i = 0; i < types.length; i++) {
      // No path at all, so that nothing is touched; of a primitive type, the value of a new array.
      arguments[i] = types[i] == String.class ? "none" : Array.get(Array.newInstance(types[i], 1), 0);
    }
    try {
      method.invoke(local, arguments);
      return false;
    } catch (InvocationTargetException e) {
      return e.getCause() instanceof UnsupportedOperationException;
    }
  }
}
