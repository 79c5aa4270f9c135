package zorf.tool;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import org.apache.hadoop.hdfs.server.namenode.zorf.LibraryVersion;
import org.junit.jupiter.api.Test;

/** Where and how the tool runs, and what it says when something there is wrong. */
class SurroundingsTest extends ToolFixture {
  @Test
  void namesAreUtf8InEveryLocale() throws Exception {
    String name = "gr\u00fc\u00df\u20ac";
    write(name, "");
    for (String locale : new String[] {"C", "C.UTF-8", "de_DE.ISO-8859-1"}) {
      String shown = tool.with("LC_ALL", locale).run("status", name).works();
      contains(shown, "path        " + name + "\n");
    }
  }

  @Test
  void whatCannotBeWrittenIsAFailure() throws Exception {
    fails(
        1, "can't write none/a.svg: No such file or directory",
        "locate", "--svg", "none/a.svg", "table");
    String command = System.getProperty("zorf.test.launcher") + " locate --json -p local table";
    Launcher shell = new Launcher(directory).launcher(Paths.get("/bin/sh"));
    shell.run("-c", command + " >/dev/full").fails(
        1, "can't write the output: No space left on device");
    // A reader that has enough is no failure worth a word.
    assertEquals("{\"pat", shell.run("-c", command + " --length 1G | head -c 5").works());
  }

  @Test
  void unknownUsersAreNotTakenForNobody() throws Exception {
    fails(1, "there is no user 'no-such-user'", "status", "--as", "no-such-user", "readme");
    fails(1, "there is no user with the id 4242424", "status", "--as", "4242424", "readme");
    fails(1, "there is no user ''", "ls", "--as", "", ".");
  }

  @Test
  void wrongCommandLinesAreOneLine() throws Exception {
    fails(2, "which command? (see: zorfhadoop --help)");
    fails(2, "which command? (see: zorfhadoop acl --help)", "acl");
    fails(2, "Missing required parameter: 'PATH' (see: zorfhadoop locate --help)", "locate");
    fails(2, "Too many arguments: 'b' (see: zorfhadoop diagnose --help)", "diagnose", "a", "b");
    fails(
        2,
        "Invalid value for option '--rows': 'x' is no whole number (see: zorfhadoop locate --help)",
        "locate", "--rows", "x", "table");
    fails(
        2,
        "Invalid value for option '--rows': '99999999999' is too large"
            + " (see: zorfhadoop locate --help)",
        "locate", "--rows", "99999999999", "table");
    assertEquals("zorfhadoop " + LibraryVersion.ofJar() + "\n", works("--version"));
  }

  @Test
  void whatWasProbablyMeantIsSaid() throws Exception {
    fails(2, "Unknown command: 'qqq' (see: zorfhadoop --help)", "qqq");
    fails(
        2, "Unknown command: 'stat'; did you mean status? (see: zorfhadoop --help)", "stat", "x");
    fails(
        2,
        "Unknown command: 'gett'; did you mean get? (see: zorfhadoop acl --help)",
        "acl", "gett", "logs");
    fails(
        2,
        "Unknown option: '--recursve'; did you mean --recursive? (see: zorfhadoop ls --help)",
        "ls", "--recursve", ".");
    // Not that a path is missing.
    fails(2, "Unknown option: '-x' (see: zorfhadoop status --help)", "status", "-x");
    fails(
        2, "Unknown option: '--jsn'; did you mean --json? (see: zorfhadoop status --help)",
        "status", "--jsn");
  }

  @Test
  void helpIsACommandToo() throws Exception {
    String[][] commands = {{}, {"locate"}, {"acl"}, {"acl", "get"}, {"help"}};
    for (String[] words : commands) {
      List<String> help = new ArrayList<>(Arrays.asList(words));
      help.add(0, "help");
      List<String> option = new ArrayList<>(Arrays.asList(words));
      option.add("--help");
      String shown = works(help.toArray(new String[0]));
      assertEquals(works(option.toArray(new String[0])), shown);
      String name = String.join(" ", words);
      assertTrue(shown.startsWith(("Usage: zorfhadoop " + name).trim() + " "), shown);
    }
    fails(
        2,
        "Unknown command: 'gett'; did you mean get? (see: zorfhadoop acl --help)",
        "help", "acl", "gett");
  }

  @Test
  void memoryThatRunsOutIsExplained() throws Exception {
    String launcher = System.getProperty("zorf.test.launcher");
    Launcher.Result result =
        new Launcher(directory)
            .with("ZORFHADOOP_OPTS", "-Xmx8m")
            .launcher(Paths.get("/bin/sh"))
            .run("-c", launcher + " xattr set user.x - table </dev/zero");
    assertEquals(1, result.status);
    assertEquals("", result.out);
    assertTrue(
        result.err.matches(
            "zorfhadoop: out of memory \\(Java heap space\\): ask for less at once, or give Java"
                + " more than its [0-9.]+ MiB, such as ZORFHADOOP_OPTS=-Xmx4g\n"),
        result.err);
  }

  @Test
  void debugShowsLogAndTrace() throws Exception {
    Launcher.Result result = tool.run("status", "--debug", "gone");
    assertEquals(1, result.status);
    contains(result.err, "debug @JNI_OnLoad:");
    contains(result.err, "zorfhadoop: gone: No such file or directory\n");
    contains(result.err, "\tat org.apache.hadoop.hdfs.server.namenode.ZORFNative.getFileStatus");
  }

  @Test
  void theLauncherRunsFromAnInstallationToo() throws Exception {
    Path build = Paths.get(System.getProperty("zorf.test.launcher")).getParent().getParent();
    Path jars = Files.createDirectories(directory.resolve("usr/share/java/zorfhadoop"));
    Path libraries = Files.createDirectories(directory.resolve("usr/lib/x86_64-linux-gnu"));
    Path bin = Files.createDirectories(directory.resolve("usr/bin"));
    for (String jar : new String[] {"zorfhadoop.jar", "zorfhadoop-tool.jar"}) {
      Files.copy(build.resolve("java").resolve(jar), jars.resolve(jar));
    }
    for (String library : new String[] {"libzorf.so", "libzorfhadoop.so.2.7"}) {
      Files.copy(build.resolve("lib").resolve(library), libraries.resolve(library));
    }
    Files.copy(build.resolve("bin/zorfhadoop"), bin.resolve("zorfhadoop"));
    Path link = Files.createSymbolicLink(directory.resolve("tool"), bin.resolve("zorfhadoop"));
    String shown = tool.launcher(link).run("doctor").works();
    contains(
        shown, "ok    library              " + libraries.toRealPath() + "/libzorfhadoop.so.2.7\n");
    Files.delete(jars.resolve("zorfhadoop.jar"));
    fails(
        1,
        "zorfhadoop.jar is missing: neither in " + jars.toRealPath() + " nor in /usr/share/java",
        "doctor");
    Files.delete(jars.resolve("zorfhadoop-tool.jar"));
  }

  /** What a command writes to a terminal of so many columns. */
  private String onTerminal(int columns, String command) throws Exception {
    String words = command.replace("zorfhadoop", System.getProperty("zorf.test.launcher"));
    return new Launcher(directory)
        .with("NO_COLOR", "1")
        .runOnTerminal("stty cols " + columns + "; " + words)
        .works()
        .replace("\r", "");
  }

  @Test
  void theTerminalsWidthIsUsed() throws Exception {
    String map = "zorfhadoop locate -p local --map --color never table";
    for (int width : new int[] {60, 123}) {
      String expected =
          tool.with("COLUMNS", "" + width).run(map.split(" ", 2)[1].split(" ")).works();
      // The rows of the map end in the bars.
      int row = lines(expected).get(2).length();
      assertTrue(row > width - 20 && row <= width, expected);
      assertEquals(expected, onTerminal(width, map));
    }
    String help = onTerminal(70, "zorfhadoop help locate");
    assertTrue(lines(help).stream().noneMatch(line -> line.length() > 70), help);
    assertTrue(help.length() > onTerminal(200, "zorfhadoop help locate").length());
  }

  @Test
  void aWrongJavaHomeIsNamed() throws Exception {
    tool.with("JAVA_HOME", "/none");
    fails(1, "there is no /none/bin/java: JAVA_HOME is wrong", "doctor");
  }
}
