package zorf.namenode;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;

import java.io.IOException;
import java.lang.reflect.Array;
import java.lang.reflect.InvocationTargetException;
import java.lang.reflect.Method;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.TreeSet;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
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
    assertFalse(nameNode.setSafeMode(SafeModeAction.SAFEMODE_LEAVE, false));
  }

  /** One that is added, or lost by a slip in a name, shows here. */
  @Test
  void theAnsweredCallsAreThoseOfTheDocumentation() throws Exception {
    TreeSet<String> answered = new TreeSet<>();
    for (Method method : ClientProtocol.class.getMethods()) {
      if (!isUnsupported(method)) {
        answered.add(method.getName());
      }
    }
    assertEquals(documented(), answered);
  }

  /** {@return the calls in the documentation's table of those that are answered} */
  private static TreeSet<String> documented() throws IOException {
    String page = Files.readString(Path.of("../docs/namenode.md"));
    int table = page.indexOf("Of the calls of `ClientProtocol` these have an answer");
    int end = page.indexOf("\n\n", page.indexOf("\n|", table));
    Matcher name = Pattern.compile("`([a-z]\\w+)`").matcher(page.substring(table, end));
    TreeSet<String> names = new TreeSet<>();
    while (name.find()) {
      names.add(name.group(1));
    }
    return names;
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
