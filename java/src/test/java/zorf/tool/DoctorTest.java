package zorf.tool;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.nio.file.attribute.PosixFilePermissions;
import org.junit.jupiter.api.Test;

/** What is wrong in a place, and what to do about it. */
class DoctorTest extends ToolFixture {
  private static final String FAIL = "fail  library              ";
  private static final String ADVICE = "                           -> ";
  private static final String LIBRARY = "libzorfhadoop.so.2.7";
  private static final String CLIENT = "libzorf.so";
  private static final int MACHINE_OFFSET = 18;
  private static final byte AARCH64 = (byte) 183;

  private static Path built() {
    return Paths.get(System.getProperty("zorf.test.launcher")).getParent().resolve("../lib");
  }

  /** A copy of a built library in the test's directory. */
  private Path copy(String name) throws Exception {
    return Files.copy(built().resolve(name), directory.resolve(name));
  }

  private static void makeForeign(Path library) throws Exception {
    byte[] bytes = Files.readAllBytes(library);
    bytes[MACHINE_OFFSET] = AARCH64;
    Files.write(library, bytes);
  }

  private static void forbid(Path file) throws Exception {
    Files.setPosixFilePermissions(file, PosixFilePermissions.fromString("---------"));
  }

  /** As somebody whom the mode of a file stops: root without its capabilities, if it is root. */
  private Launcher ordinary() {
    return Launcher.isRoot()
        ? tool.under("setpriv", "--bounding-set=-dac_override,-dac_read_search")
        : tool;
  }

  /** Asserts what the doctor advises; gives what it found. */
  private String advises(String advice, Launcher tool, Path library) throws Exception {
    Launcher.Result result = tool.with("ZORFHADOOP_LIBRARY", library.toString()).run("doctor");
    assertEquals(1, result.status);
    String[] lines = result.out.split("\n");
    assertTrue(lines[1].startsWith(FAIL), result.out);
    assertEquals(ADVICE + advice, lines[2]);
    return lines[1].substring(FAIL.length());
  }

  @Test
  void doctorLooksAtEverything() throws Exception {
    String shown = works("doctor");
    contains(shown, "ok    library              ");
    contains(shown, "libzorfhadoop.so.2.7\n");
    contains(shown, "warn  client library       ");
    contains(shown, "/libacl.so.1");
    contains(shown, "ok    logger               zorf.tool.ToolLog at level off\n");
    for (String right :
        new String[] {"CAP_SETUID", "CAP_SETGID", "CAP_DAC_OVERRIDE", "CAP_DAC_READ_SEARCH",
          "CAP_FOWNER", "CAP_SYS_ADMIN"}) {
      contains(shown, "  " + right);
    }
    contains(tool.run("doctor", "--debug").out, "zorf.tool.ToolLog at level debug\n");
  }

  @Test
  void aLibraryThatIsNotThereIsExplained() throws Exception {
    advises(
        "name the file in ZORFHADOOP_LIBRARY; there is none at /none/libzorfhadoop.so",
        tool, Paths.get("/none/libzorfhadoop.so"));
    Launcher.Result result = tool.run("status", ".");
    assertEquals(1, result.status);
    assertTrue(
        result.err.matches("zorfhadoop: can't load the library: .* \\(try: zorfhadoop doctor\\)\n"),
        result.err);
    advises(directory + " is a directory: name the file in it", tool, directory);
  }

  @Test
  void aLibraryThatMayNotBeReadIsExplained() throws Exception {
    Path library = copy(LIBRARY);
    forbid(library);
    advises("let this user read it: chmod a+r " + library, ordinary(), library);
    permit(LIBRARY, "rw-r--r--");
    Path client = copy(CLIENT);
    forbid(client);
    advises("let this user read it: chmod a+r " + client, ordinary(), library);
  }

  @Test
  void aLibraryOfAnotherArchitectureIsExplained() throws Exception {
    String machine =
        System.getProperty("os.arch").equals("amd64") ? "x86-64" : "ELF machine of this test";
    String advice =
        " is for AArch64, this Java for " + machine + ": install the library for " + machine
            + ", or set JAVA_HOME to a Java for AArch64";
    Path library = copy(LIBRARY);
    Path client = copy(CLIENT);
    makeForeign(client);
    advises(client + advice, tool, library);
    makeForeign(library);
    advises(library + advice, tool, library);
  }

  @Test
  void aWrongClientLibraryIsExplained() throws Exception {
    Path library = copy(LIBRARY);
    advises(
        "install the client library libzorf.so, or name its directory in LD_LIBRARY_PATH",
        tool, library);
    Path client = directory.resolve(CLIENT);
    write("empty.cc", "int nothing;\n");
    new Launcher(directory)
        .launcher(Paths.get("/usr/bin/c++"))
        .run("-shared", "-fPIC", "-o", CLIENT, "empty.cc")
        .works();
    String reason =
        advises(
            client + " is not zorf's client library: name the directory of zorf's in"
                + " LD_LIBRARY_PATH, first",
            tool, library);
    contains(reason, "undefined symbol: zorf_");
    // The one that the loader takes is named.
    Path other = Files.createDirectory(directory.resolve("other"));
    Files.copy(client, other.resolve(CLIENT));
    advises(
        other.resolve(CLIENT) + " is not zorf's client library: name the directory of zorf's in"
            + " LD_LIBRARY_PATH, first",
        new Launcher(directory).with("LD_LIBRARY_PATH", "/none:" + other), library);
    tool.with("LD_LIBRARY_PATH", built().toRealPath().toString()).run("doctor").works();
    Files.write(client, "no library".getBytes("UTF-8"));
    advises(
        client + " is no library: install it again",
        new Launcher(directory), library);
  }

  @Test
  void aJavaThatIsTooOldIsNamed() throws Exception {
    Path home = Files.createDirectories(directory.resolve("old/bin")).getParent();
    write("old/bin/java", "#!/bin/sh\necho 'java version \"1.7.0_80\"' >&2\necho 'Java(TM) SE' >&2\n");
    permit("old/bin/java", "rwxr-xr-x");
    tool.with("JAVA_HOME", home.toString());
    String advice = " in " + home + " is too old: set JAVA_HOME to Java 8 or newer";
    fails(1, "Java 1.7.0_80" + advice, "doctor");
    write("old/release", "IMPLEMENTOR=\"x\"\nJAVA_VERSION=\"1.6.0\"\n");
    fails(1, "Java 1.6.0" + advice, "status", "readme");
    // From Java 24 on leave is asked for; these print what they were called with.
    write("old/bin/java", "#!/bin/sh\necho \"$@\"\n");
    for (String version : new String[] {"1.8.0_392", "17.0.15", "25", "24-ea"}) {
      write("old/release", "JAVA_VERSION=\"" + version + "\"\n");
      assertEquals(
          version.startsWith("2"),
          works("doctor").contains(" --enable-native-access=ALL-UNNAMED "), version);
    }
  }

  @Test
  void checksAreJsonToo() throws Exception {
    String json = works("doctor", "--json");
    contains(json, "{\"check\": \"CAP_SETUID\", \"verdict\": \"");
    contains(
        json,
        "/libzorf.so\", \"advice\": \"it is the stand-in: block placement is made up; for zorf's"
            + " own, name the directory of its libzorf.so in LD_LIBRARY_PATH\"}\n");
    Launcher.Result result =
        tool.with("ZORFHADOOP_LIBRARY", "/none").run("doctor", "--json");
    assertEquals(1, result.status);
    assertEquals(
        "{\"check\": \"library\", \"verdict\": \"fail\", \"text\": \"Can't load library: /none\", "
            + "\"advice\": \"name the file in ZORFHADOOP_LIBRARY; there is none at /none\"}",
        lines(result.out).get(1));
  }
}
