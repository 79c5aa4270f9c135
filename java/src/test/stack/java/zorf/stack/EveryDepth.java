package zorf.stack;

import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Map;
import java.util.Objects;
import java.util.TreeMap;
import java.util.TreeSet;
import org.apache.hadoop.hdfs.server.namenode.ZORFNative;

/**
 * Calls every native at every depth of a Java stack, down to where no call is possible any more. Each
 * must give what it gives with all the stack in the world, or throw StackOverflowError; the virtual
 * machine must not die. Takes a directory to work in.
 */
public final class EveryDepth {
  /** Small, so that few frames reach its end. */
  private static final long STACK_SIZE = 256 * 1024;

  /** Enough for what is called to be compiled on the way. */
  private static final int DESCENTS = 3;

  private interface Call {
    Object call() throws Throwable;
  }

  // By position: near the end of the stack a look into a map would overflow by itself.
  private final List<String> names = new ArrayList<>();
  private final List<Call> added = new ArrayList<>();
  private Call[] calls;
  private Object[] expected;
  private int[] overflows;
  private long called;
  private String difference;

  public static void main(String[] args) throws Exception {
    Path directory = Files.createTempDirectory("zorf-stack-");
    EveryDepth test = new EveryDepth(directory);
    Throwable[] failure = new Throwable[1];
    Thread thread =
        new Thread(
            null,
            () -> {
              try {
                test.run();
              } catch (Throwable e) {
                failure[0] = e;
              }
            },
            "deep",
            STACK_SIZE);
    thread.start();
    thread.join();
    for (String name : new String[] {"file", "changed", "link", "dir", ""}) {
      Files.delete(directory.resolve(name));
    }
    if (failure[0] != null) {
      failure[0].printStackTrace();
      System.exit(1);
    }
  }

  private EveryDepth(Path directory) throws Exception {
    String file = Files.write(directory.resolve("file"), new byte[10_000]).toString();
    String changed = Files.write(directory.resolve("changed"), new byte[10_000]).toString();
    String link =
        Files.createSymbolicLink(directory.resolve("link"), directory.resolve("file")).toString();
    String dir = Files.createDirectory(directory.resolve("dir")).toString();
    String missing = directory.resolve("missing/below/it").toString();
    byte[] record = ZORFNative.getFileStatusNative(file, true);
    byte[] acl = words(2, 0x8000, 2, 1002, 5, 0x8000, 16, 7);
    byte[] none = words(0);
    byte[] value = {1, 2, 3};

    add("getUser", () -> ZORFNative.getUser(0));
    add("getUser, unknown", () -> ZORFNative.getUser(987654321));
    add("getGroup", () -> ZORFNative.getGroup(0));
    add("getUid", () -> ZORFNative.getUid("root"));
    add("getGid", () -> ZORFNative.getGid("root"));
    add("setFsUid", () -> actAsRoot());
    add("setUMask", () -> ZORFNative.setUMask((short) 022));
    add("getFileStatusNative", () -> ZORFNative.getFileStatusNative(link, true));
    add("getFileStatusNative, missing", () -> ZORFNative.getFileStatusNative(missing, true));
    add("getFileStatusFormatNative", () -> ZORFNative.getFileStatusFormatNative());
    add("getINum", () -> ZORFNative.getINum(file));
    add("getLinkTargetNative", () -> ZORFNative.getLinkTargetNative(link, 4096));
    add("getFailedPathNative", () -> ZORFNative.getFailedPathNative(missing, true));
    add("getFsName", () -> ZORFNative.getFsName("/no/mount/point"));
    add("setPermission", () -> ZORFNative.setPermission(changed, (short) 0644));
    for (String policy : new String[] {"local", "shared", "rackaware", "rackaware-sort"}) {
      byte[] name = policy.getBytes("US-ASCII");
      Call policyCall = () -> ZORFNative.getBlkCmd(name, 8192);
      add("getBlkCmd, " + policy, policyCall);
      add(
          "getBlockLocationsNative, " + policy,
          after(policyCall, () -> ZORFNative.getBlockLocationsNative(file, 0, 10_000, null)));
      add(
          "getBlockSizeNative, " + policy,
          after(policyCall, () -> ZORFNative.getBlockSizeNative(file, record)));
      add(
          "getLocatedFileStatusNative, " + policy,
          after(
              policyCall, () -> ZORFNative.getLocatedFileStatusNative(file, true, true, true)));
    }
    add("setReplication", () -> ZORFNative.setReplication(changed, (short) 2, true));
    add("setBGF", () -> ZORFNative.setBGF(changed, 4));
    add(
        "setExtendedAttribute",
        () -> ZORFNative.setExtendedAttribute(changed, "user.a", value, (short) 0));
    add("listXAttrs", () -> ZORFNative.listXAttrs(changed));
    add("getXAttrs", () -> ZORFNative.getXAttrs(changed, new String[] {"user.a", "user.a"}));
    add("dumpXAttrs", () -> ZORFNative.dumpXAttrs(changed));
    add("removeXAttr", () -> ZORFNative.removeXAttr(file, "user.none"));
    add("getAclStatus", () -> ZORFNative.getAclStatus(file, record));
    add("getAclStatus, missing", () -> ZORFNative.getAclStatus(missing, record));
    add("setAcl", () -> done(() -> ZORFNative.setAcl(changed, acl)));
    add("modifyAclEntries", () -> done(() -> ZORFNative.modifyAclEntries(changed, acl)));
    add("removeAclEntries", () -> done(() -> ZORFNative.removeAclEntries(changed, none)));
    add("removeDefaultAcl", () -> done(() -> ZORFNative.removeDefaultAcl(dir, true)));
    add("removeAcl", () -> done(() -> ZORFNative.removeAcl(dir, true)));
  }

  private void add(String name, Call call) {
    names.add(name);
    added.add(call);
  }

  private static Call after(Call first, Call call) {
    return () -> {
      first.call();
      return call.call();
    };
  }

  private static byte[] words(int... words) {
    ByteBuffer bytes = ByteBuffer.allocate(4 * words.length).order(ByteOrder.LITTLE_ENDIAN);
    for (int word : words) {
      bytes.putInt(word);
    }
    return bytes.array();
  }

  private static Object done(Runnable call) {
    call.run();
    return "done";
  }

  /** The switch and its end; root on both sides of it, whatever overflows between them. */
  private static Object actAsRoot() {
    ZORFNative.setFsUid(ZORFNative.setFsUid("root"));
    return "done";
  }

  private void run() {
    requireAllNatives();
    calls = added.toArray(new Call[0]);
    expected = new Object[calls.length];
    overflows = new int[calls.length];
    // Twice: what a call, or its exception, loads is there then, and what one changes is as it stays.
    for (int round = 0; round < 2; round++) {
      for (int i = 0; i < calls.length; i++) {
        expected[i] = outcome(calls[i]);
      }
    }
    for (int descent = 0; descent < DESCENTS && difference == null; descent++) {
      try {
        descend();
      } catch (StackOverflowError e) {
        continue;
      }
    }
    if (difference != null) {
      throw new AssertionError(difference);
    }
    for (int i = 0; i < calls.length; i++) {
      if (overflows[i] == 0) {
        throw new AssertionError(names.get(i) + " never overflowed: its end was not reached");
      }
    }
    System.out.println(called + " calls of all natives, down to the end of the stack");
  }

  private void descend() {
    for (int i = 0; i < calls.length; i++) {
      attempt(i);
    }
    if (difference == null) {
      descend();
    }
  }

  private void attempt(int i) {
    try {
      Object result = outcome(calls[i]);
      called++;
      if (!result.equals(expected[i])) {
        difference = names.get(i) + ": " + result + ", not " + expected[i];
      }
    } catch (StackOverflowError e) {
      overflows[i]++;
    }
  }

  private static Object outcome(Call call) {
    try {
      return text(call.call());
    } catch (StackOverflowError e) {
      throw e;
    } catch (Throwable e) {
      return e.toString();
    }
  }

  private void requireAllNatives() {
    TreeSet<String> natives = new TreeSet<>();
    for (Method method : ZORFNative.class.getDeclaredMethods()) {
      if (Modifier.isNative(method.getModifiers())) {
        natives.add(method.getName());
      }
    }
    for (String name : names) {
      natives.remove(name.split(",")[0]);
    }
    if (!natives.isEmpty()) {
      throw new AssertionError("not called: " + natives);
    }
  }

  private static String text(Object answer) {
    if (answer instanceof byte[]) {
      return new String((byte[]) answer, StandardCharsets.ISO_8859_1);
    }
    if (answer instanceof int[]) {
      return Arrays.toString((int[]) answer);
    }
    if (answer instanceof Map) {
      StringBuilder text = new StringBuilder();
      new TreeMap<>((Map<?, ?>) answer)
          .forEach((key, value) -> text.append(key).append('=').append(text(value)).append(' '));
      return text.toString();
    }
    return Objects.toString(answer);
  }
}
