package zorf.loading;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.List;
import org.junit.jupiter.api.Test;

/** What Java sees of a load, each in a JVM of its own. */
class LoadTest {
  private static final String NATIVE = "@Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_";
  private static final String INITIALIZING = "  debug @JNI_OnLoad:# libzorfhadoop initializing";
  private static final String ACL_ENTRY = "  trace @init:# ACLUtil";
  private static final String ACL_LOADED = "  debug @init:# libacl.so loaded";
  private static final String INUM_OF_ROOT = "  trace " + NATIVE + "getINum:# /";
  private static final String LOST =
      "lost throws java.nio.file.NoSuchFileException: No such file or directory: /no/such/file";
  private static final String LOST_WARN =
      "  warn " + NATIVE + "getBlockLocationsNative:# non-regular filemode: ";
  private static final String LOST_ERROR =
      "  error " + NATIVE + "getBlockLocationsNative:# open failed with 2";
  private static final String LOST_DEBUG =
      "  debug @handle_error:# No such file or directory: /no/such/file";

  /** Loads with the given levels and calls natives that log at every level that is in use. */
  private static List<String> linesAt(String levels) throws Exception {
    List<String> lines =
        new ChildJvm().levels(levels).run("load", "inum=/", "lost=/no/such/file").lines();
    lines.removeIf(line -> line.startsWith("  debug " + NATIVE + "getBlockLocationsNative:# "));
    lines.removeIf(line -> line.startsWith("  debug @setfsid:# "));
    // The mode of "/" may differ from machine to machine.
    lines.replaceAll(line -> line.startsWith(LOST_WARN) ? LOST_WARN : line);
    return lines;
  }

  private static List<String> expected(String inum, String... lines) {
    List<String> all = new ArrayList<>(Arrays.asList(lines));
    all.replaceAll(line -> line.equals("inum") ? inum : line);
    return all;
  }

  private static String inumOfRoot() throws Exception {
    return "inum " + Files.getAttribute(Paths.get("/"), "unix:ino");
  }

  private static Path fake(String name) {
    return Paths.get(ChildJvm.property("zorf.test.fakes"), name);
  }

  @Test
  void aLoggerAtTraceGetsEverything() throws Exception {
    assertEquals(
        expected(
            inumOfRoot(),
            "load done",
            INITIALIZING,
            ACL_ENTRY,
            ACL_LOADED,
            "inum",
            INUM_OF_ROOT,
            LOST,
            LOST_WARN,
            LOST_ERROR,
            LOST_DEBUG),
        linesAt("trace,debug,info,warn,error,fatal"));
  }

  @Test
  void aLoggerThatOnlyTracesGetsTheStartUpLineThroughDebugAllTheSame() throws Exception {
    assertEquals(
        Arrays.asList("load done", INITIALIZING, ACL_ENTRY, ACL_LOADED),
        new ChildJvm().levels("trace").run("load").lines());
  }

  @Test
  void aLoggerAtDebugGetsNoTrace() throws Exception {
    assertEquals(
        expected(
            inumOfRoot(),
            "load done",
            INITIALIZING,
            ACL_LOADED,
            "inum",
            LOST,
            LOST_WARN,
            LOST_ERROR,
            LOST_DEBUG),
        linesAt("debug,info,warn,error,fatal"));
  }

  @Test
  void aLoggerAtWarnOrAtInfoGetsWarnAndError() throws Exception {
    for (String levels :
        new String[] {"warn,error,fatal", "info,warn,error,fatal", "info,warn", "info"}) {
      assertEquals(
          expected(inumOfRoot(), "load done", "inum", LOST, LOST_WARN, LOST_ERROR),
          linesAt(levels),
          levels);
    }
  }

  @Test
  void aLoggerAtErrorGetsErrorOnly() throws Exception {
    assertEquals(
        expected(inumOfRoot(), "load done", "inum", LOST, LOST_ERROR), linesAt("error,fatal"));
  }

  @Test
  void aLoggerAtFatalOrOffGetsNothing() throws Exception {
    for (String levels : new String[] {"fatal", ""}) {
      assertEquals(expected(inumOfRoot(), "load done", "inum", LOST), linesAt(levels), levels);
    }
  }

  @Test
  void aLoggerIsAskedForWarnBeforeInfoAndNoMoreAfterItsFirstYes() throws Exception {
    String[] order = {"trace", "debug", "warn", "info", "error", "fatal"};
    for (int i = 0; i <= order.length; i++) {
      String yes = i < order.length ? order[i] : "";
      ChildJvm child = new ChildJvm().withoutOption("-Dorg.apache.commons.logging.Log=");
      child.option("-Dorg.apache.commons.logging.Log=zorf.loading.AskedLog").levels(yes);
      List<String> asked = child.run("load").lines();
      asked.removeIf(line -> !line.startsWith("  asked "));
      List<String> questions = new ArrayList<>();
      for (int k = 0; k < order.length && k <= i; k++) {
        questions.add("  asked " + order[k]);
      }
      assertEquals(questions, asked, "enabled: " + yes);
    }
  }

  @Test
  void withoutALoggerObjectEverythingWorksInSilence() throws Exception {
    List<String> lines =
        new ChildJvm().variant("null_log").run("load", "inum=/", "user=0", "user=-7").lines();
    assertEquals(
        Arrays.asList(
            "load done",
            inumOfRoot(),
            "user root",
            "user throws java.io.IOException: Invalid argument: "),
        lines);
  }

  @Test
  void aMissingLoggerFieldFailsTheLoad() throws Exception {
    assertEquals(
        Collections.singletonList(
            "load throws java.lang.NoSuchFieldError: Cannot find field LOG"),
        new ChildJvm().variant("without_log_field").run("load").lines());
  }

  @Test
  void aMissingLoggerMethodFailsTheLoad() throws Exception {
    assertEquals(
        Collections.singletonList(
            "load throws java.lang.NoSuchMethodError: "
                + "Cannot find methold debug(Ljava/lang/Object;)V"),
        new ChildJvm().variant("log_without_debug").run("nolog", "load").lines());
  }

  @Test
  void aMissingClassFailsTheLoad() throws Exception {
    assertEquals(
        Collections.singletonList(
            "loadfile throws java.lang.NoClassDefFoundError: "
                + "Cannot find class org/apache/hadoop/hdfs/server/namenode/ZORFNative"),
        new ChildJvm()
            .withoutJar("zorfhadoop.jar")
            .run("nolog", "loadfile=" + ChildJvm.property("zorf.library"))
            .lines());
  }

  @Test
  void aMissingLogInterfaceFailsTheLoad() throws Exception {
    assertEquals(
        Collections.singletonList(
            "load throws java.lang.NoClassDefFoundError: "
                + "Cannot find class org/apache/commons/logging/Log"),
        new ChildJvm()
            .variant("null_log")
            .withoutJar("commons-logging")
            .run("nolog", "load")
            .lines());
  }

  @Test
  void aLibaclWithoutOneFunctionIsNotUsed() throws Exception {
    List<String> lines =
        new ChildJvm().levels("debug").librariesFrom(fake("incomplete")).run("load").lines();
    assertEquals(Arrays.asList("load done", INITIALIZING), lines.subList(0, 2));
    String libacl = fake("incomplete/libacl.so.1").toString();
    assertEquals(
        "  debug @init:# failed to resolve: acl_to_any_text: "
            + libacl
            + ": undefined symbol: acl_to_any_text",
        lines.get(2));
    assertEquals(3, lines.size());
  }

  @Test
  void aLibaclThatCanNotBeOpenedIsPassedOverInSilence() throws Exception {
    assertEquals(
        Arrays.asList("load done", INITIALIZING, ACL_ENTRY),
        new ChildJvm().librariesFrom(fake("empty")).run("load").lines());
  }

  @Test
  void withoutLibaclTheAclNativesFailAndTheOthersWork() throws Exception {
    for (String name : new String[] {"incomplete", "empty"}) {
      assertEquals(
          Arrays.asList(
              "load done",
              "aclstatus throws java.io.IOException: "
                  + "Function not implemented: libacl.so.1 is not loaded",
              inumOfRoot()),
          new ChildJvm()
              .levels("fatal")
              .librariesFrom(fake(name))
              .run("load", "aclstatus=/", "inum=/")
              .lines(),
          name);
    }
  }

  @Test
  void theLibraryIsFoundByItsNameToo() throws Exception {
    String directory = Paths.get(ChildJvm.property("zorf.library")).getParent().toString();
    ChildJvm child = new ChildJvm().withoutOption("-Dzorf.library=").levels("fatal");
    assertEquals(
        Arrays.asList("load done", inumOfRoot()),
        child.option("-Djava.library.path=" + directory).run("load", "inum=/").lines());
  }

  @Test
  void theVirtualMachinesChecksFindTheTwoClassNamesOnly() throws Exception {
    ChildJvm.Outcome outcome =
        new ChildJvm()
            .option("-Xcheck:jni")
            .run(
                "load",
                "inum=/",
                "inum=/no/such",
                "user=0",
                "user=-7",
                "status=/",
                "status=/no/such",
                "policy=rackaware-sort",
                "lost=/no/such",
                "blocks=/proc/self/exe",
                "aclstatus=/",
                "aclstatus=/no/such");
    assertEquals(0, outcome.exitStatus, outcome.toString());
    assertEquals(Collections.emptyList(), outcome.err);
    List<String> warnings = new ArrayList<>(outcome.out);
    warnings.removeIf(line -> !line.contains("WARNING") && !line.contains("FATAL"));
    // Names in the form of a descriptor are what the library asks for; HotSpot still takes them.
    warnings.replaceAll(line -> line.replaceFirst("\\.  A correct .*", ""));
    String bad = "WARNING in native method: JNI FindClass received a bad class descriptor ";
    assertEquals(
        Arrays.asList(bad + "\"Ljava/util/HashMap;\"", bad + "\"Ljava/lang/String;\""),
        warnings,
        outcome.toString());
    assertTrue(outcome.out.contains("load done"));
  }
}
