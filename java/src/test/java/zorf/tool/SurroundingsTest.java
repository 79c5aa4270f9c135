package zorf.tool;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
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
  void completionCompletes() throws Exception {
    Path build = Paths.get(System.getProperty("zorf.test.launcher")).getParent().getParent();
    Path script = build.resolve("share/bash-completion/completions/zorfhadoop");
    Launcher bash = new Launcher(directory).launcher(Paths.get("/bin/bash"));
    String complete =
        "compopt() { :; }; source " + script + "; COMP_WORDS=(zorfhadoop %s);"
            + " COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _complete_zorfhadoop;"
            + " echo \"${COMPREPLY[@]}\"";
    assertEquals("locate\n", bash.run("-c", String.format(complete, "lo")).works());
    assertEquals("--policy\n", bash.run("-c", String.format(complete, "locate --pol")).works());
    assertEquals(
        "local shared rackaware rackaware-sort\n",
        bash.run("-c", String.format(complete, "locate --policy ''")).works());
    assertEquals(
        "remove remove-default\n", bash.run("-c", String.format(complete, "acl rem")).works());
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
    assertEquals("zorfhadoop " + LibraryVersion.ofJar() + "\n", works("--version"));
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
    contains(
        shown, "ok    library              " + libraries.toRealPath() + "/libzorfhadoop.so.2.7\n");
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
