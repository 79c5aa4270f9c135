package zorf.tool;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.file.Files;
import java.nio.file.Paths;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

/** Trees: what -R does to them, and the names in them. */
class TreeTest extends ToolFixture {
  private static final String WHY =
      "the library can't be asked about names that are not UTF-8 or have characters above U+FFFF";

  @BeforeEach
  void makeTree() throws Exception {
    Files.createDirectories(directory.resolve("tree/sub/deep"));
    write("tree/a", "");
    write("tree/sub/script", "");
    write("tree/sub/deep/c", "");
    Files.createSymbolicLink(directory.resolve("tree/out"), directory.resolve("readme"));
    Files.createSymbolicLink(directory.resolve("tree/sub/up"), Paths.get(".."));
    works("chmod", "-R", "u=rwX,go=rX", "tree");
    works("chmod", "755", "tree/sub/script");
  }

  private void shell(String command) throws Exception {
    new Launcher(directory).launcher(Paths.get("/bin/bash")).run("-c", command).works();
  }

  private String modes() throws Exception {
    return new Launcher(directory)
        .launcher(Paths.get("/bin/sh"))
        .run("-c", "find tree readme -printf '%m %p\\n' | LC_ALL=C sort -k2")
        .works();
  }

  @Test
  void modesChangeBelowButNotBehindLinks() throws Exception {
    works("chmod", "-R", "g+w,o=", "tree");
    assertEquals(
        "640 readme\n770 tree\n660 tree/a\n777 tree/out\n770 tree/sub\n770 tree/sub/deep\n"
            + "660 tree/sub/deep/c\n770 tree/sub/script\n777 tree/sub/up\n",
        modes());
    // A link that is named itself is followed.
    Files.createSymbolicLink(directory.resolve("to"), Paths.get("tree"));
    works("chmod", "--recursive", "g=", "to");
    assertEquals(
        "640 readme\n700 tree\n600 tree/a\n777 tree/out\n700 tree/sub\n700 tree/sub/deep\n"
            + "600 tree/sub/deep/c\n700 tree/sub/script\n777 tree/sub/up\n",
        modes());
  }

  @Test
  void aclsChangeBelowWithDefaultsForDirectories() throws Exception {
    works("acl", "modify", "-R", "u:daemon:rX,d:u:daemon:rx", "tree");
    String shown = works("acl", "get", "-R", "tree");
    assertEquals(
        "# file: tree\nuser:daemon:r-x\ndefault:user:daemon:r-x\n"
            + "# file: tree/a\nuser:daemon:r--\n"
            + "# file: tree/sub\nuser:daemon:r-x\ndefault:user:daemon:r-x\n"
            + "# file: tree/sub/deep\nuser:daemon:r-x\ndefault:user:daemon:r-x\n"
            + "# file: tree/sub/deep/c\nuser:daemon:r--\n"
            + "# file: tree/sub/script\nuser:daemon:r-x\n",
        shown.replaceAll("(?m)^(?!# file|.*daemon).*\n", ""));
    works("acl", "remove-default", "-R", "tree");
    assertEquals(-1, works("acl", "get", "-R", "tree").indexOf("default"));
    works("acl", "remove", "-R", "u:daemon,d:u:daemon", "tree");
    assertEquals(-1, works("acl", "get", "-R", "tree").indexOf("daemon"));
    fails(1, "readme: only directories have a default ACL", "acl", "modify", "d:u:0:r", "readme");
  }

  @Test
  void failuresAreCountedAndTheWalkGoesOn() throws Exception {
    shell("chmod g+s tree/sub");
    Launcher.Result result = tool.run("chmod", "--json", "-R", "o=", "gone", "tree", "");
    assertEquals(
        "zorfhadoop: gone: No such file or directory\n"
            + "zorfhadoop: tree/sub: set-user-id and set-group-id can't be kept this way; \"ug-s\""
            + " takes them away\n"
            + "zorfhadoop: : No such file or directory\n"
            + "zorfhadoop: 3 of 8 paths failed\n",
        result.err);
    assertEquals(1, result.status);
    assertEquals(
        "{\"path\": \"gone\", \"error\": \"gone: No such file or directory\"}\n"
            + "{\"path\": \"tree\", \"done\": true}\n{\"path\": \"tree/a\", \"done\": true}\n"
            + "{\"path\": \"tree/sub\", \"error\": \"tree/sub: set-user-id and set-group-id can't be"
            + " kept this way; \\\"ug-s\\\" takes them away\"}\n"
            + "{\"path\": \"tree/sub/deep\", \"done\": true}\n"
            + "{\"path\": \"tree/sub/deep/c\", \"done\": true}\n"
            + "{\"path\": \"tree/sub/script\", \"done\": true}\n"
            + "{\"path\": \"\", \"error\": \": No such file or directory\"}\n",
        result.out);
    contains(modes(), "2755 tree/sub\n750 tree/sub/deep\n640 tree/sub/deep/c\n");
  }

  @Test
  void namesThatCannotBeAskedAboutAreListedAndExplained() throws Exception {
    shell("cd tree; touch $'caf\\xe9' '\ud83d\ude00' $'\\xef\\xbf\\xbd'; mkdir $'d\\xe9\\\\';"
        + " touch $'d\\xe9\\\\/in'");
    String shown = works("ls", "-R", "tree");
    contains(shown, "\n?                   ?   ?");
    contains(shown, "   caf\\351 *\n");
    contains(shown, "   \ud83d\ude00 *\n");
    contains(shown, "   \ufffd\n");
    contains(shown, "\n\ntree/d\\351\\134:\n");
    contains(shown, "   in *\n");
    assertTrue(shown.endsWith("\n\n* 4 names: " + WHY + "\n"), shown);
    String json = works("ls", "--json", "tree");
    contains(
        json,
        "{\"path\": \"tree/caf\ufffd\", \"pathHex\": \"0x747265652f636166e9\", \"error\": \"" + WHY
            + "\"}\n");
    contains(json, "{\"path\": \"tree/\ufffd\", \"type\": \"regular\", ");
    Launcher.Result result = tool.run("chmod", "-R", "700", "tree");
    assertEquals(
        "zorfhadoop: tree/caf\\351: " + WHY + "\nzorfhadoop: tree/d\\351\\134: " + WHY
            + "\nzorfhadoop: tree/d\\351\\134/in: " + WHY + "\nzorfhadoop: tree/\ud83d\ude00: " + WHY
            + "\nzorfhadoop: 4 of 11 paths failed\n",
        result.err);
    assertEquals(1, result.status);
    fails(
        1, "tree/\ud83d\ude00: No such file or directory (" + WHY + ")",
        "status", "tree/\ud83d\ude00");
    shell("rm -r tree/*");
  }

  @Test
  void targetsOfLinksAreShownWithoutALoss() throws Exception {
    shell("ln -s $'caf\\xe9\\n' tree/odd");
    contains(works("ls", "tree"), "   odd -> caf\\351\\012\n");
    contains(works("status", "-P", "tree/odd"), "path        tree/odd -> caf\\351\\012\n");
    String target = "\"target\": \"caf\ufffd\\n\", \"targetHex\": \"0x636166e90a\"";
    contains(works("status", "-P", "--json", "tree/odd"), target);
    contains(works("ls", "--json", "tree"), target);
    contains(
        works("ls", "--json", "link"), "\"acl\": false, \"target\": \"table\"}\n");
  }
}
