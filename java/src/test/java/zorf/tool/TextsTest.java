package zorf.tool;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertThrows;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.NoSuchFileException;
import java.util.List;
import java.util.stream.Collectors;
import org.apache.hadoop.hdfs.server.namenode.zorf.AclEntry;
import org.junit.jupiter.api.Test;
import picocli.CommandLine.TypeConversionException;

/** What the tool reads from and writes for people. */
class TextsTest {
  private static long size(String text) {
    return new SizeConverter().convert(text);
  }

  @Test
  void sizesTakeUnits() {
    assertEquals(4096, size("4096"));
    assertEquals(64 << 10, size("64k"));
    assertEquals(128 << 20, size("128M"));
    assertEquals(3L << 30, size("3G"));
    assertEquals(1L << 40, size("1T"));
    assertEquals(Long.MAX_VALUE, size("9223372036854775807"));
  }

  @Test
  void sizesThatAreNoneAreRefused() {
    for (String text :
        new String[] {"", "M", "-1", "1.5G", "1X", "1MB", "9223372036854775808", "8388608T"}) {
      TypeConversionException e =
          assertThrows(TypeConversionException.class, () -> size(text), text);
      assertEquals(
          "'" + text + "' is no number of bytes (such as 4096, 64K, 128M, 1G)", e.getMessage());
    }
  }

  @Test
  void sizesAreShort() {
    assertEquals("0 B", Sizes.human(0));
    assertEquals("1023 B", Sizes.human(1023));
    assertEquals("1.5 KiB", Sizes.human(1536));
    assertEquals("128 MiB", Sizes.human(128 << 20));
    assertEquals("8.0 EiB", Sizes.human(Long.MAX_VALUE));
    assertEquals("40,956 MiB", Sizes.offset(40956L << 20));
    assertEquals("1 block", Sizes.count(1, "block"));
    assertEquals("10,240 blocks", Sizes.count(10240, "block"));
  }

  @Test
  void jsonEscapesWhatItMust() {
    String name = "a\"b\\c\n\t\u0001\u007f\u00e4\ud83d\ude00\ud83d";
    String text = new Json().object().put("name", name).end().toString();
    assertEquals(
        "{\"name\": \"a\\\"b\\\\c\\n\\t\\u0001\\u007f\u00e4\ud83d\ude00\\ud83d\"}", text);
  }

  @Test
  void jsonNests() {
    Json json = new Json().object().put("n", -1).put("yes", true).put("none", (String) null);
    json.put("ids", new int[] {1, 2}).put("nothing", new int[0]);
    json.key("list").array().object().end().value(3).end();
    assertEquals(
        "{\"n\": -1, \"yes\": true, \"none\": null, \"ids\": [1, 2], \"nothing\": [], "
            + "\"list\": [{}, 3]}",
        json.end().toString());
    assertThrows(IllegalStateException.class, () -> new Json().object().toString());
  }

  private static List<String> acl(String text, boolean permissions) {
    return AclText.parse(text, permissions, false).stream()
        .map(AclEntry::toString)
        .collect(Collectors.toList());
  }

  @Test
  void aclsAreReadAsSetfaclReadsThem() {
    assertEquals(
        List.of(
            "user::rw-",
            "user:1001:r-x",
            "default:group:0:rwx",
            "mask::r--",
            "other::---",
            "default:other::-w-"),
        acl("u::rw,user:1001:rx,d:g:0:7, m:r ,o::-,default:o:w", true));
    assertEquals(
        List.of("user::rwx", "group::r-x"),
        acl("# file: /a\n# owner: root\nuser::rwx\ngroup::r-x\t#effective:r--\n\n", true));
  }

  @Test
  void entriesToRemoveNeedNoPermission() {
    assertEquals(
        List.of("user:1001:---", "default:mask::---", "group:5:r--"),
        acl("u:1001,d:m:,g:5:r", false));
  }

  @Test
  void whatIsNoAclIsRefused() {
    for (String text :
        new String[] {"", " , ", "# nothing", "u", "u:1001", "x::r", "u:1:r:w", "u::q", "o:5:r",
          "u::"}) {
      assertThrows(IllegalArgumentException.class, () -> AclText.parse(text, true, false), text);
    }
    assertThrows(Failure.class, () -> AclText.parse("u:4294967295:r", true, false));
  }

  @Test
  void theMaskCutsNamedEntriesAndTheOwningGroup() {
    List<AclEntry> acl = AclText.parse("u::rwx,u:1:rwx,g::rx,m::r,o::rwx,d:u:1:rwx", true, false);
    assertEquals(
        List.of("", "#effective:r--", "#effective:r--", "", "", ""),
        acl.stream().map(entry -> AclText.effective(entry, acl)).collect(Collectors.toList()));
  }

  private static byte[] value(String text) {
    return AttributeValue.parse(Bytes.utf8(text));
  }

  @Test
  void attributeValuesAreReadInThreeForms() {
    assertArrayEquals(new byte[] {0, 1, -1}, value("0x0001fF"));
    assertArrayEquals(new byte[] {'a', 'b', 'c'}, value("0sYWJj"));
    assertArrayEquals(new byte[] {(byte) 0xC3, (byte) 0xBC}, value("\u00fc"));
    assertArrayEquals(new byte[0], value(""));
    assertArrayEquals(new byte[0], value("0x"));
    assertThrows(IllegalArgumentException.class, () -> value("0xabc"));
    assertThrows(IllegalArgumentException.class, () -> value("0xgg"));
    assertThrows(IllegalArgumentException.class, () -> value("0s!"));
  }

  @Test
  void attributeValuesAreShownSoThatTheyCanBeReadBack() {
    byte[] binary = {0, (byte) 0xFF};
    byte[] text = "say \"\\o/\"".getBytes(StandardCharsets.UTF_8);
    assertEquals("0x00ff", AttributeValue.format(binary, AttributeValue.Encoding.auto));
    assertEquals("0sAP8=", AttributeValue.format(binary, AttributeValue.Encoding.base64));
    assertEquals(
        "\"say \\\"\\\\o/\\\"\"", AttributeValue.format(text, AttributeValue.Encoding.auto));
    assertEquals(
        "\"a\\012\"",
        AttributeValue.format(new byte[] {'a', '\n'}, AttributeValue.Encoding.text));
  }

  @Test
  void failuresAreOneLineWithThePath() {
    String path = "/a: b";
    assertEquals(
        "/a: b: No such file or directory",
        Failure.describe(path, new NoSuchFileException("No such file or directory: /a: b")));
    assertEquals(
        "/a: b: Permission denied", Failure.describe(path, new IOException("Permission denied: ")));
    assertEquals(
        "failed to restripe file /a: b replication 3: Invalid argument",
        Failure.describe(
            path,
            new IOException("Invalid argument: failed to restripe file /a: b replication 3")));
    assertEquals(
        "/a: b: Invalid BGF(0): Invalid argument",
        Failure.describe(path, new IOException("Invalid argument: Invalid BGF(0)")));
    assertEquals(
        "/a: b: NullPointerException", Failure.describe(path, new NullPointerException()));
    assertEquals("one?two", Failure.describe(path, new Failure("one\ntwo")));
  }
}
