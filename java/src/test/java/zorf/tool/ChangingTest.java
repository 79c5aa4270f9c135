package zorf.tool;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.file.Paths;
import java.util.regex.Pattern;
import org.junit.jupiter.api.Test;

/** What the tool changes, and shows afterwards. */
class ChangingTest extends ToolFixture {
  @Test
  void aclsAreChangedAndShown() throws Exception {
    works("acl", "modify", "user:daemon:rx,default:group:0:rwx", "logs");
    String shown = works("acl", "get", "logs");
    contains(
        shown,
        "user::rwx\nuser:daemon:r-x\ngroup::r-x\nmask::r-x\nother::r-x\n"
            + "default:user::rwx\ndefault:group::r-x\ndefault:group:root:rwx\n"
            + "default:mask::rwx\ndefault:other::r-x\n");
    assertTrue(shown.startsWith("# file: logs\n# owner: "));
    assertTrue(
        Pattern.compile("\nuser:[0-9]+:r-x\n").matcher(works("acl", "get", "-n", "logs")).find());
    contains(
        works("acl", "get", "--json", "logs"),
        "\"entries\": [\"user::rwx\", \"user:daemon:r-x\"");
    contains(works("ls", "."), "drwxr-xr-x+");
    contains(works("status", "logs"), "ACL         10 entries\n");

    tool.input(shown).run("acl", "set", "-", "logs").works();
    assertEquals(shown, works("acl", "get", "logs"));
    works("acl", "modify", "mask::r", "logs");
    contains(works("acl", "get", "logs"), "user:daemon:r-x                 #effective:r--\n");

    works("acl", "remove", "u:daemon,d:g:0", "logs");
    assertFalse(works("acl", "get", "logs").contains("daemon"));
    works("acl", "remove-default", "logs");
    assertFalse(works("acl", "get", "logs").contains("default"));
    works("acl", "remove", "--all", "logs");
    assertEquals(6, lines(works("acl", "get", "logs")).size());
    works("acl", "set", "u::rw,u:daemon:r,g::-,o::-", "readme");
    contains(
        works("acl", "get", "readme"),
        "user::rw-\nuser:daemon:r--\ngroup::---\nmask::r--\nother::---\n");
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
        "# file: table\nuser.bytes=0x0001ff\nuser.color=\"blue\"\n",
        works("xattr", "dump", "table"));
    assertEquals(
        "# file: table\nuser.bytes=0sAAH/\nuser.color=0sYmx1ZQ==\n\n"
            + "# file: readme\nuser.alone=0s\n",
        works("xattr", "dump", "-e", "base64", "table", "readme"));
    assertEquals(
        "{\"path\": \"table\", \"attributes\": {\"user.bytes\": {\"hex\": \"0x0001ff\"}, "
            + "\"user.color\": {\"text\": \"blue\", \"hex\": \"0x626c7565\"}}}\n",
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
        1,
        "table: user.bytes: File exists",
        "xattr", "set", "--create", "user.bytes", "1", "table");
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
    fails(
        2,
        "'u+q' is no mode (such as 750, u+rwX,g-w,o=) (see: zorfhadoop chmod --help)",
        "chmod", "u+q", "logs");
    works("chmod", "u=rwx,g+w-x,o=rX,-t", "logs");
    contains(works("status", "logs"), "mode        0765 rwxrw-r-x\n");
    new Launcher(directory).launcher(Paths.get("/bin/chmod")).run("g+s", "logs").works();
    fails(
        1,
        "logs: set-user-id and set-group-id can't be kept this way; \"ug-s\" takes them away",
        "chmod", "o+w", "logs");
    contains(works("status", "logs"), "mode        2765 rwxrwSr-x\n");
    works("chmod", "ug-s,o+w", "logs");
    contains(works("status", "logs"), "mode        0767 rwxrw-rwx\n");
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
        "table: the file system takes no replica count of 99: Invalid argument",
        "replication", "--set", "99", "table");
    for (String count : new String[] {"0", "-1", "32768"}) {
      fails(
          2,
          "--set takes 1 to 32767 (see: zorfhadoop replication --help)",
          "replication", "--set", count, "table");
    }
    fails(
        2,
        "Invalid value for option '--set': 'x' is no whole number"
            + " (see: zorfhadoop replication --help)",
        "replication", "--set", "x", "table");
    fails(1, "logs: only regular files have blocks", "replication", "--set", "2", "logs");
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
    fails(2, "--set takes 1 to 1024 (see: zorfhadoop bgf --help)", "bgf", "--set", "1025", "table");
    fails(1, "gone: No such file or directory", "bgf", "--set", "3", "gone");
  }

  @Test
  void directoriesHaveNoBlockGroupFactor() throws Exception {
    String line = "logs: a directory has no block group factor, each file in it has its own";
    fails(1, line, "bgf", "logs");
    fails(1, line, "bgf", "--set", "3", "logs");
    fails(1, "/dev/null: only regular files have blocks", "bgf", "/dev/null");
    assertEquals("", works("xattr", "list", "logs"));
  }
}
