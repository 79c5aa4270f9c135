package zorf.tool;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;

import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Paths;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

/** Dumps of ACLs and attributes, taken back by the tool and by those of the system. */
class DumpTest extends ToolFixture {
  private static final String ODD = "logs/a \"b\\c=d\n#e";

  @BeforeEach
  void makeOddFiles() throws Exception {
    write(ODD, "");
    works("acl", "modify", "u:daemon:rw,g:root:r", ODD);
    works("acl", "modify", "u:daemon:rx,m::r,d:u:daemon:rwx", "logs");
    works("chmod", "+t", "logs");
    works("xattr", "set", "user.a b\\c=d", "0x7122755c6f0a746501", ODD);
    works("xattr", "set", "user.bin", "0x00ff80", ODD);
    works("xattr", "set", "user.empty", "", ODD);
    works("xattr", "set", "user.text", "gr\u00fcn \"\\", "logs");
  }

  private String shell(String command) throws Exception {
    String launcher = System.getProperty("zorf.test.launcher");
    return new Launcher(directory)
        .launcher(Paths.get("/bin/sh"))
        .run("-c", command.replace("zorfhadoop", launcher))
        .works();
  }

  private void changeAll() throws Exception {
    works("acl", "remove", "-R", "--all", "logs");
    works("chmod", "0700", "logs", ODD);
    works("acl", "modify", "d:o:rwx", "logs/../logs");
    works("xattr", "set", "user.bin", "x", ODD);
    works("xattr", "remove", "user.a b\\c=d", ODD);
    works("xattr", "remove", "user.empty", ODD);
    works("xattr", "remove", "user.text", "logs");
  }

  private String everything() throws Exception {
    return shell("getfacl -R logs; getfattr -R -d -m- -e hex logs");
  }

  @Test
  void aclsAreWrittenAsGetfaclWritesThem() throws Exception {
    String shown = works("acl", "get", "-R", "logs");
    assertEquals(
        shell("getfacl logs").trim().replaceAll("\t+", " "),
        works("acl", "get", "logs").trim().replaceAll(" +#", " #"));
    assertEquals(
        "# file: logs\n# owner: OWNER\n# group: GROUP\n# flags: --t\nuser::rwx\n"
            + "user:daemon:r-x                 #effective:r--\n"
            + "group::r-x                      #effective:r--\nmask::r--\nother::r-x\n"
            + "default:user::rwx\ndefault:user:daemon:rwx\ndefault:group::r-x\n"
            + "default:mask::rwx\ndefault:other::r-x\n\n"
            + "# file: logs/a \"b\\134c=d\\012#e\n# owner: OWNER\n# group: GROUP\nuser::rw-\n"
            + "user:daemon:rw-\ngroup::r--\ngroup:root:r--\nmask::rw-\nother::r--\n\n"
            + "# file: logs/today\n# owner: OWNER\n# group: GROUP\nuser::rw-\ngroup::r--\n"
            + "other::r--\n",
        shown.replaceAll("(?m)^# owner: .*", "# owner: OWNER")
            .replaceAll("(?m)^# group: .*", "# group: GROUP"));
  }

  @Test
  void dumpsAreTakenBackByTheToolAndBySetfacl() throws Exception {
    String before = everything();
    String[][] ways = {
      {
        "zorfhadoop acl get -R logs >a; zorfhadoop xattr dump -R logs >x",
        "zorfhadoop acl restore a; zorfhadoop xattr restore - <x"
      },
      {
        "zorfhadoop acl get -nR logs >a; zorfhadoop xattr dump -e base64 -R logs >x",
        "zorfhadoop acl restore - <a; zorfhadoop xattr restore x"
      },
      {
        "zorfhadoop acl get -R --json logs >a; zorfhadoop xattr dump -R --json logs >x",
        "zorfhadoop acl restore a; zorfhadoop xattr restore x"
      },
      {
        "zorfhadoop acl get -R logs >a; zorfhadoop xattr dump -e text -R logs >x",
        "setfacl --restore=a; setfattr --restore=x"
      },
      {
        "getfacl -R logs >a; getfattr -R -d logs >x",
        "zorfhadoop acl restore a; zorfhadoop xattr restore x"
      },
    };
    for (String[] way : ways) {
      shell(way[0]);
      changeAll();
      assertFalse(before.equals(everything()));
      assertEquals("", shell(way[1]), way[1]);
      assertEquals(before, everything(), way[0]);
    }
  }

  @Test
  void whatCannotBeRestoredIsSaid() throws Exception {
    write(
        "dump",
        "# file: logs\n# owner: carol\n# flags: s-t\nuser::rwx\ngroup::---\nother::---\n\n"
            + "# file: gone\nuser::rwx\ngroup::---\nother::---\n\n"
            + "# file: readme\nuser::r\ngroup::rw\nother::x\ndefault:other::r\n\n"
            + "# file: racks\nuser::rwx\ngroup::nope\n\n"
            + "# file: table\nuser::rw-\ngroup::---\nother::---\n");
    Launcher.Result result = tool.run("acl", "restore", "dump");
    String owner = Files.getOwner(directory).getName();
    assertEquals(
        "zorfhadoop: logs: the ACL is restored, but not owner carol (it is " + owner
            + "), flags s-t (they are --t)\n"
            + "zorfhadoop: gone: No such file or directory\n"
            + "zorfhadoop: readme: only directories have a default ACL\n"
            + "zorfhadoop: racks: 'group::nope': ACL permission \"nope\"\n",
        result.err);
    assertEquals(1, result.status);
    contains(works("status", "table"), "mode        0600 rw-------\n");
    contains(works("status", "logs"), "mode        1700 rwx-----T\nowner");
    contains(works("status", "logs"), "ACL         none\n");

    fails(1, "can't read none: No such file or directory", "xattr", "restore", "none");
    write("dump", "user.a=\"b\"\n");
    fails(
        1, "line 1 is about no file: none begins \"# file: \"", "xattr", "restore", "dump");
    write("dump", "# file: table\nuser.a=0xq\n");
    fails(1, "table: '0xq' is no hexadecimal value", "xattr", "restore", "dump");
    write("dump", "# file: table\nother.a=\"b\"\n");
    fails(1, "table: other.a: Operation not supported", "xattr", "restore", "dump");
    write("dump", "{\"path\": \"table\", \"error\": \"x\"}\n{\"path\": \"readme\", "
        + "\"attributes\": {\"user.a\": {\"text\": \"b\"}, \"user.c\": {\"hex\": \"0x00\"}}}");
    fails(
        1, "table: the dump only tells that it could not be read", "xattr", "restore", "dump");
    assertEquals(
        "# file: readme\nuser.a=\"b\"\nuser.c=0x00\n", works("xattr", "dump", "readme"));
    write("dump", "{\"path\": \"table\" \"x\"}");
    fails(1, "this is no JSON from character 18 on", "xattr", "restore", "dump");
    write("dump", "{\"paths\": 1}");
    fails(1, "object 1 of the dump has no path", "acl", "restore", "dump");
  }

  @Test
  void valuesComeFromStdin() throws Exception {
    tool.input("two\nlines\u0000").run("xattr", "set", "user.x", "-", "table").works();
    assertEquals("0x74776f0a6c696e657300\n", works("xattr", "get", "user.x", "table"));
    tool.input("u::rwx\nu:daemon:x # comment\ng::-\no::-").run("acl", "set", "-", "table").works();
    contains(works("acl", "get", "table"), "user:daemon:--x\ngroup::---\nmask::--x\n");
  }

  @Test
  void bytesAreEscapedWithoutALoss() {
    byte[] all = new byte[256 + 4];
    for (int i = 0; i < 256; i++) {
      all[i] = (byte) i;
    }
    System.arraycopy("\u00e4\u20ac".substring(1).getBytes(StandardCharsets.UTF_8), 0, all, 256, 3);
    for (String octal : new String[] {"\\", "\\=", "\\ab"}) {
      String text = Bytes.escape(all, octal, "");
      assertEquals(Bytes.latin(all), Bytes.latin(Bytes.unescape(Bytes.utf8(text))));
    }
    String text = Bytes.escape(all, "", "\\\"");
    assertEquals(Bytes.latin(all), Bytes.latin(Bytes.unescape(Bytes.utf8(text))));
    assertEquals(
        "gr\u00fcn\\351\\012\\\\042\\\"",
        Bytes.escape(
            new byte[] {'g', 'r', (byte) 0xC3, (byte) 0xBC, 'n', (byte) 0xE9, '\n', '\\', '0', '4',
              '2', '"'},
            "", "\\\""));
  }
}
