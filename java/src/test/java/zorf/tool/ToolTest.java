package zorf.tool;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.RandomAccessFile;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.Arrays;
import java.util.List;
import java.util.stream.Collectors;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/** Every command on real files, in a process of its own, in its good and its bad days. */
class ToolTest {
  private static final String RACKS = "rack 1: 11 12 13 14 15 16\nrack 2: 21 22 23 24 25 26\n";

  @TempDir Path directory;
  private Launcher tool;

  @BeforeEach
  void makeFiles() throws Exception {
    Files.setPosixFilePermissions(directory, PosixFilePermissions.fromString("rwxr-xr-x"));
    Files.createDirectory(directory.resolve("logs"));
    write("logs/today", "a line\n");
    write("readme", "some text\n");
    write("racks", RACKS);
    try (RandomAccessFile sparse =
        new RandomAccessFile(directory.resolve("table").toFile(), "rw")) {
      sparse.setLength(1 << 30);
    }
    Files.createSymbolicLink(directory.resolve("link"), Paths.get("table"));
    permit("readme", "rw-r-----");
    permit("logs", "rwxr-xr-x");
    tool = new Launcher(directory);
  }

  private void write(String name, String text) throws Exception {
    Files.write(directory.resolve(name), text.getBytes(StandardCharsets.UTF_8));
  }

  private void permit(String name, String permissions) throws Exception {
    Files.setPosixFilePermissions(
        directory.resolve(name), PosixFilePermissions.fromString(permissions));
  }

  private String works(String... arguments) throws Exception {
    return tool.run(arguments).works();
  }

  private void fails(int status, String line, String... arguments) throws Exception {
    tool.run(arguments).fails(status, line);
  }

  private static List<String> lines(String text) {
    return Arrays.asList(text.split("\n"));
  }

  private static void contains(String text, String part) {
    assertTrue(text.contains(part), part + " in " + text);
  }

  @Test
  void statusTellsWhatAFileIs() throws Exception {
    String shown = works("status", "table", "logs");
    List<String> names =
        lines(shown).stream().map(line -> line.split(" ")[0]).collect(Collectors.toList());
    assertEquals(
        List.of("path", "type", "mode", "owner", "group", "ACL", "size", "inode", "HDFS",
            "replicas", "accessed", "modified", "changed", "", "path", "type", "mode", "owner",
            "group", "ACL", "size", "inode", "accessed", "modified", "changed"),
        names);
    contains(shown, "size        1,073,741,824 bytes (1 GiB)\n");
    contains(shown, "inode       " + Files.getAttribute(directory.resolve("table"), "unix:ino"));
    contains(shown, "HDFS block  128 MiB\nreplicas    2\n");
    contains(shown, "type        directory\nmode        0755 rwxr-xr-x\n");
    contains(works("status", "link"), "type        regular\n");
    contains(works("status", "--no-follow", "link"), "path        link -> table\n");
    String json = works("status", "--json", "readme");
    assertTrue(json.startsWith("{\"path\": \"readme\", \"type\": \"regular\", \"mode\": \"0640\""));
    contains(json, "\"size\": 10, ");
    contains(json, "\"acl\": false, \"blockSize\": 134217728, \"replicas\": 2}\n");
  }

  @Test
  void statusGoesOnAfterAFailure() throws Exception {
    Launcher.Result result = tool.run("status", "gone", "readme/x", "logs");
    assertEquals(
        "zorfhadoop: gone: No such file or directory\n"
            + "zorfhadoop: readme/x: No such file or directory\n",
        result.err);
    assertEquals(1, result.status);
    assertTrue(result.out.startsWith("path        logs\n"));
  }

  @Test
  void namesAreUtf8InEveryLocale() throws Exception {
    write("gr\u00fc\u00df\u20ac", "");
    for (String locale : new String[] {"C", "C.UTF-8", "de_DE.ISO-8859-1"}) {
      String shown = new Launcher(directory).with("LC_ALL", locale).run("status", "gr\u00fc\u00df\u20ac").works();
      contains(shown, "path        gr\u00fc\u00df\u20ac\n");
    }
  }

  @Test
  void lsListsWithBlocks() throws Exception {
    List<String> shown = lines(works("ls", "."));
    assertEquals(6, shown.size());
    assertTrue(shown.get(0).matches("mode +replicas +owner +group +size +block +blocks.*name"));
    assertTrue(shown.get(1).matches("lrwxrwxrwx +- .* link -> table"), shown.get(1));
    assertTrue(shown.get(2).matches("drwxr-xr-x +- .* - +- +- .* logs"), shown.get(2));
    assertTrue(
        shown.get(5).matches("-rw-r--r-- +2 .* 1,073,741,824 +128 MiB +8 +[0-9]+ .* table"),
        shown.get(5));
    contains(works("ls", "--policy", "local", "table"), " 4 MiB      256 ");
    List<String> walk = lines(works("ls", "-R", "."));
    assertEquals(List.of(".:", "", "./logs:"), List.of(walk.get(0), walk.get(7), walk.get(8)));
    assertTrue(walk.get(10).endsWith(" today"));
    String json = works("ls", "-R", "--json", ".");
    assertEquals(6, lines(json).size());
    contains(json, "{\"path\": \"./logs/today\", ");
    fails(1, "gone: No such file or directory", "ls", "gone");
  }

  @Test
  void locateTellsWhereBlocksLie() throws Exception {
    List<String> shown = lines(works("locate", "table"));
    assertEquals("table: 1 GiB, 8 blocks of 128 MiB, 2 replicas (rackaware)", shown.get(0));
    assertEquals(11, shown.size());
    assertTrue(shown.get(10).matches("    7   896 MiB( +[0-9]{2}){2}"), shown.get(10));
    assertEquals(shown, lines(works("locate", "--rows", "0", "table")));
    List<String> few = lines(works("locate", "--rows", "3", "table"));
    assertEquals(
        List.of(shown.get(3), shown.get(4), "  ...", shown.get(10)), few.subList(3, 7));
    List<String> range =
        lines(works("locate", "--offset", "300M", "--length", "100M", "table"));
    assertEquals(
        "table: 100 MiB at 300 MiB, 2 blocks of 128 MiB, 2 replicas (rackaware)", range.get(0));
    assertEquals(
        shown.subList(5, 7).stream().map(String::trim).collect(Collectors.toList()),
        range.subList(3, 5).stream().map(String::trim).collect(Collectors.toList()));
    assertEquals(
        "table: 1 GiB, blocks of 64 MiB, 2 replicas (shared), no locations\n",
        works("locate", "-p", "shared", "--default-block-size", "64M", "table"));
    contains(works("locate", "-p", "local", "table"), "256 blocks of 4 MiB");
  }

  @Test
  void locateSortsLocations() throws Exception {
    String shown = works("locate", "-p", "rackaware-sort", "--as-on-zorf", "table");
    contains(shown, "file system blocks there\n");
    // 32 blocks of 4 MiB with 2 replicas lie on up to 24 locations: no one has more than 32.
    for (String line : lines(shown).subList(3, 11)) {
      String[] words = line.trim().split(" +");
      int most = Integer.parseInt(words[words.length - 2]);
      int second = Integer.parseInt(words[words.length - 1]);
      assertTrue(most <= 32 && second <= most && second > 1, line);
    }
  }

  @Test
  void locateWritesJson() throws Exception {
    String json = works("locate", "--json", "--length", "200M", "table");
    assertTrue(
        json.matches(
            "\\{\"path\": \"table\", \"size\": 1073741824, \"policy\": \"rackaware\", "
                + "\"offset\": 0, \"length\": 209715200, \"blockSize\": 134217728, \"replicas\": 2, "
                + "\"blocks\": \\[\\{\"offset\": 0, \"locations\": \\[\\d+, \\d+\\]\\}, "
                + "\\{\"offset\": 134217728, \"locations\": \\[\\d+, \\d+\\]\\}\\]\\}\n"),
        json);
  }

  @Test
  void locateDrawsMapsAndPictures() throws Exception {
    String map = works("locate", "--map", "--topology", "racks", "table");
    contains(map, "\nrack 1\n    11  ");
    contains(map, "\nno rack\n");
    assertFalse(map.contains("\u001b"));
    contains(works("locate", "--map", "--color", "always", "table"), "\u001b[38;5;");
    works("locate", "--svg", "picture.svg", "--topology", "racks", "table");
    String svg = new String(Files.readAllBytes(directory.resolve("picture.svg")), "UTF-8");
    assertTrue(svg.startsWith("<svg ") && svg.endsWith("</svg>\n"));
    contains(svg, ">rack 2</text>");
    tool.with("ZORF_TOPOLOGY", directory.resolve("none").toString());
    fails(
        1,
        "can't read the topology file " + directory.resolve("none"),
        "locate", "--map", "table");
  }

  @Test
  void locateRefusesWhatHasNoBlocks() throws Exception {
    fails(1, "logs: only regular files have blocks", "locate", "logs");
    fails(1, "gone: No such file or directory", "locate", "gone");
    fails(
        1, "readme: the offset is beyond the end of 10 bytes", "locate", "--offset", "11", "readme");
    fails(
        2,
        "Invalid value for option '--policy': 'rack' is none of local, shared, rackaware,"
            + " rackaware-sort (see: zorfhadoop locate --help)",
        "locate", "--policy", "rack", "table");
    fails(
        2,
        "Invalid value for option '--length': '1.5G' is no number of bytes (such as 4096,"
            + " 64K, 128M, 1G) (see: zorfhadoop locate --help)",
        "locate", "--length", "1.5G", "table");
    fails(
        2,
        "--map and --json exclude each other (see: zorfhadoop locate --help)",
        "locate", "--map", "--json", "table");
  }

  @Test
  void aclsAreChangedAndShown() throws Exception {
    works("acl", "modify", "user:nobody:rx,default:group:0:rwx", "logs");
    String shown = works("acl", "get", "logs");
    contains(
        shown,
        "user::rwx\nuser:nobody:r-x\ngroup::r-x\nmask::r-x\nother::r-x\n"
            + "default:user::rwx\ndefault:group::r-x\ndefault:group:root:rwx\n"
            + "default:mask::rwx\ndefault:other::r-x\n");
    assertTrue(shown.startsWith("# file: logs\n# owner: "));
    contains(works("acl", "get", "-n", "logs"), "user:65534:r-x\n");
    contains(works("acl", "get", "--json", "logs"), "\"entries\": [\"user::rwx\", \"user:nobody:r-x\"");
    contains(works("ls", "."), "drwxr-xr-x+");
    contains(works("status", "logs"), "ACL         10 entries\n");

    tool.input(shown).run("acl", "set", "-", "logs").works();
    assertEquals(shown, works("acl", "get", "logs"));
    works("acl", "modify", "mask::r", "logs");
    contains(works("acl", "get", "logs"), "user:nobody:r-x                 #effective:r--\n");

    works("acl", "remove", "u:nobody,d:g:0", "logs");
    assertFalse(works("acl", "get", "logs").contains("nobody"));
    works("acl", "remove-default", "logs");
    assertFalse(works("acl", "get", "logs").contains("default"));
    works("acl", "remove", "--all", "logs");
    assertEquals(6, lines(works("acl", "get", "logs")).size());
    works("acl", "set", "u::rw,u:nobody:r,g::-,o::-", "readme");
    contains(
        works("acl", "get", "readme"),
        "user::rw-\nuser:nobody:r--\ngroup::---\nmask::r--\nother::---\n");
  }

  @Test
  void aclsThatCannotBeAreRefused() throws Exception {
    fails(1, "there is no user 'no-such-user'", "acl", "modify", "u:no-such-user:r", "logs");
    fails(1, "there is no group 'no-such-group'", "acl", "remove", "g:no-such-group", "logs");
    fails(
        2,
        "'u:0' is no ACL entry (such as user:alice:rw-) (see: zorfhadoop acl modify --help)",
        "acl", "modify", "u:0", "logs");
    fails(
        2,
        "which entries? ENTRIES or --all, then PATH (see: zorfhadoop acl remove --help)",
        "acl", "remove", "logs");
    fails(1, "readme: only directories have a default ACL", "acl", "remove-default", "readme");
    fails(1, "gone: No such file or directory", "acl", "set", "u::rwx,g::r,o::r", "gone");
    Launcher.Result result = tool.run("acl", "set", "u::rwx,u:0:r,u:0:w,g::r,o::r", "logs");
    assertEquals(1, result.status);
    contains(result.err, "Malformed access ACL");
    assertEquals(1, lines(result.err).size());
  }

  @Test
  void attributesAreChangedAndShown() throws Exception {
    works("xattr", "set", "user.color", "blue", "table");
    works("xattr", "set", "user.bytes", "0x0001ff", "table");
    works("xattr", "set", "user.alone", "", "readme");
    // The last name too, and a single one.
    assertEquals("user.bytes\nuser.color\n", works("xattr", "list", "table"));
    assertEquals("user.alone\n", works("xattr", "list", "readme"));
    assertEquals("", works("xattr", "list", "logs"));
    assertEquals(
        "user.bytes=0x0001ff\nuser.color=\"blue\"\n", works("xattr", "dump", "table"));
    assertEquals(
        "# file: table\nuser.bytes=0sAAH/\nuser.color=0sYmx1ZQ==\n\n# file: readme\nuser.alone=0s\n",
        works("xattr", "dump", "-e", "base64", "table", "readme"));
    assertEquals(
        "{\"path\": \"table\", \"attributes\": {\"user.bytes\": \"0x0001ff\", "
            + "\"user.color\": \"blue\"}}\n",
        works("xattr", "dump", "--json", "table"));
    assertEquals("\"blue\"\n", works("xattr", "get", "user.color", "table"));
    assertEquals("blue", works("xattr", "get", "--raw", "user.color", "table"));
    assertEquals("0x626c7565\n", works("xattr", "get", "-e", "hex", "user.color", "table"));
    works("xattr", "set", "--replace", "user.color", "red", "table");
    assertEquals("\"red\"\n", works("xattr", "get", "user.color", "table"));
    works("xattr", "remove", "user.color", "table");
    fails(1, "table: user.color: no such attribute", "xattr", "remove", "user.color", "table");
    fails(1, "table: user.color: no such attribute", "xattr", "get", "user.color", "table");
    fails(
        1, "table: user.bytes: File exists", "xattr", "set", "--create", "user.bytes", "1", "table");
    fails(
        1,
        "table: user.color: no such attribute",
        "xattr", "set", "--replace", "user.color", "x", "table");
    fails(1, "gone: No such file or directory", "xattr", "list", "gone");
    fails(
        2,
        "'0xabc' is no hexadecimal value (see: zorfhadoop xattr set --help)",
        "xattr", "set", "user.x", "0xabc", "table");
  }

  @Test
  void modesAreSet() throws Exception {
    works("chmod", "1750", "logs");
    contains(works("status", "logs"), "mode        1750 rwxr-x--T\n");
    fails(
        2,
        "4755: set-user-id and set-group-id can't be set this way (see: zorfhadoop chmod --help)",
        "chmod", "4755", "logs");
    fails(2, "'u+x' is no octal mode (see: zorfhadoop chmod --help)", "chmod", "u+x", "logs");
    fails(1, "gone: No such file or directory", "chmod", "600", "gone");
  }

  @Test
  void replicationIsSetAndShown() throws Exception {
    assertEquals("table: 2\n", works("replication", "table"));
    works("replication", "--set", "3", "--restripe", "table");
    assertEquals("table: 3\n", works("replication", "table"));
    contains(works("locate", "table"), ", 3 replicas (rackaware)\n");
    fails(
        1,
        "failed to set replication for table replication 99: Invalid argument",
        "replication", "--set", "99", "table");
    fails(1, "logs: only regular files have blocks", "replication", "logs");
    fails(
        2,
        "--restripe goes with --set (see: zorfhadoop replication --help)",
        "replication", "--restripe", "table");
  }

  @Test
  void blockGroupFactorsAreSetAndShown() throws Exception {
    assertEquals("table: none\n", works("bgf", "table"));
    works("bgf", "--set", "3", "table");
    assertEquals("table: 3\n", works("bgf", "table"));
    works("bgf", "--set", "1024", "table");
    assertEquals("table: 1024\n", works("bgf", "table"));
    fails(1, "table: Invalid BGF(1025): Invalid argument", "bgf", "--set", "1025", "table");
    fails(1, "gone: No such file or directory", "bgf", "--set", "3", "gone");
    fails(
        2,
        "Invalid value for option '--set': 'x' is not an int (see: zorfhadoop bgf --help)",
        "bgf", "--set", "x", "table");
  }

  @Test
  void fileSystemsAreNamedWhereTheyAreMounted() throws Exception {
    fails(1, directory + ": no zorf file system is mounted there", "fsname", directory.toString());
  }

  @Test
  void aMissingComponentIsDiagnosed() throws Exception {
    Launcher.Result result = tool.run("diagnose", "logs/none/deep");
    assertEquals("", result.err);
    assertEquals(1, result.status);
    Path none = directory.resolve("logs/none");
    contains(result.out, " can't reach " + none + "/deep: " + none + " does not exist\n");
    contains(result.out, "\n>   " + none + "        missing\n");
    contains(
        tool.run("diagnose", "readme/x").out, directory.resolve("readme") + " is not a directory\n");
    contains(works("diagnose", "readme"), " and may read it\n");
    Files.createSymbolicLink(directory.resolve("dangling"), Paths.get("nowhere"));
    contains(
        tool.run("diagnose", "dangling/x").out,
        " can't follow " + directory.resolve("dangling") + " to nowhere: No such file or directory;"
            + " see: zorfhadoop diagnose " + directory.resolve("nowhere/x") + "\n");
  }

  @Test
  void aForbiddenComponentIsDiagnosed() throws Exception {
    // Where everybody may get to.
    Path place = Files.createTempDirectory(Paths.get("/tmp"), "zorf-tool-test-");
    try {
      Files.setPosixFilePermissions(place, PosixFilePermissions.fromString("rwxr-xr-x"));
      Path closed = Files.createDirectory(place.resolve("closed"));
      Path file = Files.createFile(closed.resolve("file"));
      Files.setPosixFilePermissions(closed, PosixFilePermissions.fromString("rwxr-----"));
      Launcher.Result result = tool.run("diagnose", file.toString(), "--as", "nobody");
      if (!Launcher.isRoot()) {
        result.fails(
            1,
            "can't act as nobody: this process may not switch users (run as root, or with"
                + " CAP_SETUID and CAP_SETGID)");
        return;
      }
      assertEquals("", result.err);
      assertEquals(1, result.status);
      List<String> shown = lines(result.out);
      assertEquals(
          "nobody is stopped at " + closed + ": may not enter it, for other::--- does not grant x",
          shown.get(0));
      assertTrue(
          shown.get(3).matches(">   " + closed + " +drwxr----- 0740 +root +root +none +---"),
          shown.get(3));
      assertTrue(shown.get(4).matches("    " + file + " +-rw-r--r-- 0644 .* r--"), shown.get(4));
      contains(
          tool.run("diagnose", "--json", file.toString(), "--as", "65534").out,
          "\"user\": \"nobody\", \"reached\": false, \"deepest\": \"" + closed + "\"");
      fails(1, file + ": Permission denied", "status", "--as", "nobody", file.toString());
      fails(
          1, closed + ": can't be listed: Permission denied", "ls", "--as", "nobody",
          closed.toString());
      fails(
          1, closed + ": Operation not permitted", "chmod", "--as", "nobody", "777",
          closed.toString());
    } finally {
      Files.deleteIfExists(place.resolve("closed/file"));
      Files.deleteIfExists(place.resolve("closed"));
      Files.deleteIfExists(place);
    }
  }

  @Test
  void unknownUsersAreNotTakenForNobody() throws Exception {
    fails(1, "there is no user 'no-such-user'", "status", "--as", "no-such-user", "readme");
    fails(1, "there is no user with the id 4242424", "status", "--as", "4242424", "readme");
    fails(1, "there is no user ''", "ls", "--as", "", ".");
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
    tool.with("ZORFHADOOP_LIBRARY", "/none/libzorfhadoop.so");
    Launcher.Result result = tool.run("doctor");
    assertEquals(1, result.status);
    contains(result.out, "fail  library              ");
    contains(
        result.out,
        "-> name the file in ZORFHADOOP_LIBRARY; there is none at /none/libzorfhadoop.so\n");
    result = tool.run("status", ".");
    assertEquals(1, result.status);
    assertTrue(
        result.err.matches("zorfhadoop: can't load the library: .* \\(try: zorfhadoop doctor\\)\n"),
        result.err);
  }

  @Test
  void wrongCommandLinesAreOneLine() throws Exception {
    fails(2, "which command? (see: zorfhadoop --help)");
    fails(2, "which command? (see: zorfhadoop acl --help)", "acl");
    fails(2, "Unmatched argument at index 0: 'nope' (see: zorfhadoop --help)", "nope");
    fails(2, "Unknown option: '--nope' (see: zorfhadoop ls --help)", "ls", "--nope", ".");
    fails(2, "Missing required parameter: 'PATH' (see: zorfhadoop locate --help)", "locate");
    assertTrue(works("--version").startsWith("zorfhadoop 2.7"));
    assertTrue(works("locate", "--help").startsWith("Usage: zorfhadoop locate "));
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
    contains(shown, "ok    library              " + libraries.toRealPath() + "/libzorfhadoop.so.2.7\n");
    Files.delete(jars.resolve("zorfhadoop.jar"));
    fails(
        1,
        "zorfhadoop.jar is missing: neither in " + jars.toRealPath() + " nor in /usr/share/java",
        "doctor");
    Files.delete(jars.resolve("zorfhadoop-tool.jar"));
  }

  @Test
  void aWrongJavaHomeIsNamed() throws Exception {
    tool.with("JAVA_HOME", "/none");
    fails(1, "there is no /none/bin/java: JAVA_HOME is wrong", "doctor");
  }
}
