package zorf.decoding;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;

import java.util.Arrays;
import java.util.Collections;
import java.util.List;
import org.apache.hadoop.hdfs.server.namenode.zorf.AclEntry;
import org.apache.hadoop.hdfs.server.namenode.zorf.AclFormat;
import org.apache.hadoop.hdfs.server.namenode.zorf.AclScope;
import org.apache.hadoop.hdfs.server.namenode.zorf.AclTag;
import org.junit.jupiter.api.Test;

class AclFormatTest {
  private static String rejection(String text) {
    return assertThrows(IllegalArgumentException.class, () -> AclEntry.parse(text)).getMessage();
  }

  private static String rejection(byte[] report) {
    return assertThrows(IllegalArgumentException.class, () -> AclFormat.decodeReport(report))
        .getMessage();
  }

  @Test
  void encodesASpecificationWithItsCount() {
    List<AclEntry> entries =
        Arrays.asList(
            AclEntry.of(AclScope.ACCESS, AclTag.USER_OBJ, 7),
            AclEntry.of(AclScope.DEFAULT, AclTag.USER, 1001, 5));
    assertArrayEquals(
        new Bytes().ints(2, 0x8000, 1, 7, 0x4000, 2, 1001, 5).array(),
        AclFormat.encodeSpecification(entries));
    assertArrayEquals(new byte[4], AclFormat.encodeSpecification(Collections.emptyList()));
  }

  @Test
  void decodesAReportWithoutACount() {
    byte[] report =
        new Bytes()
            .ints(0x8000, 1, 6, 0x8000, 2, -2, 4, 0x8000, 4, 4, 0x8000, 16, 5, 0x8000, 32, 0)
            .ints(0x4000, 8, 100, 7)
            .array();
    List<AclEntry> expected =
        AclEntry.parseAll(
            "user::rw-,user:4294967294:r--,group::r--,mask::r-x,other::---,"
                + "default:group:100:rwx");
    assertEquals(expected, AclFormat.decodeReport(report));
    assertEquals(Collections.emptyList(), AclFormat.decodeReport(new byte[0]));
  }

  @Test
  void specificationAndReportDifferByTheCountOnly() {
    for (AclScope scope : AclScope.values()) {
      for (AclTag tag : AclTag.values()) {
        for (int permission = 0; permission < 8; permission++) {
          AclEntry entry =
              tag.isQualified()
                  ? AclEntry.of(scope, tag, 0xFFFFFFFFL, permission)
                  : AclEntry.of(scope, tag, permission);
          byte[] bytes = AclFormat.encodeSpecification(Collections.singleton(entry));
          byte[] report = Arrays.copyOfRange(bytes, 4, bytes.length);
          assertEquals(Collections.singletonList(entry), AclFormat.decodeReport(report));
          assertEquals(entry, AclEntry.parse(entry.toString()));
        }
      }
    }
  }

  @Test
  void rejectsReportsThatEndInsideAnEntry() {
    byte[] report = new Bytes().ints(0x8000, 1, 6, 0x8000, 2, 1001, 4).array();
    for (int length = 1; length < report.length; length++) {
      byte[] cut = Arrays.copyOf(report, length);
      if (length == 12) {
        assertEquals(1, AclFormat.decodeReport(cut).size());
      } else {
        assertEquals(
            "ACL report of " + length + " bytes ends inside entry " + (length < 12 ? 0 : 1),
            rejection(cut));
      }
    }
  }

  @Test
  void rejectsReportsWithUnknownNumbers() {
    assertEquals("unknown ACL scope 5", rejection(new Bytes().ints(5, 1, 7).array()));
    assertEquals("unknown ACL tag 3", rejection(new Bytes().ints(0x8000, 3, 7).array()));
    assertEquals("ACL permission 8", rejection(new Bytes().ints(0x8000, 1, 8).array()));
    assertEquals("ACL permission -1", rejection(new Bytes().ints(0x8000, 2, 1, -1).array()));
  }

  @Test
  void readsShortFormsOfTheText() {
    assertEquals("user::rwx", AclEntry.parse(" u::7 ").toString());
    assertEquals("default:user:1001:r-x", AclEntry.parse("d:u:1001:rx").toString());
    assertEquals("group:0:---", AclEntry.parse("g:0:-").toString());
    assertEquals("mask::-w-", AclEntry.parse("m::w").toString());
    assertEquals("other::r-x", AclEntry.parse("other::5").toString());
    assertEquals("default:group::--x", AclEntry.parse("default:group::--x").toString());
  }

  @Test
  void readsListsOfEntries() {
    List<AclEntry> entries = AclEntry.parseAll("u::rw-, g::r--\no::---,\n");
    assertEquals("[user::rw-, group::r--, other::---]", entries.toString());
    assertEquals(Collections.emptyList(), AclEntry.parseAll(""));
    assertThrows(UnsupportedOperationException.class, () -> entries.remove(0));
  }

  @Test
  void rejectsTextThatIsNoEntry() {
    assertEquals("not an ACL entry: \"\"", rejection(""));
    assertEquals("not an ACL entry: \"user:rwx\"", rejection("user:rwx"));
    assertEquals("not an ACL entry: \"user:1:rwx:\"", rejection("user:1:rwx:"));
    assertEquals("unknown ACL tag \"us\"", rejection("us::rwx"));
    assertEquals("unknown ACL tag \"\"", rejection("::rwx"));
    assertEquals("unknown ACL tag \"mask\" with a qualifier", rejection("mask:1:rwx"));
    assertEquals("ACL qualifier \"alice\"", rejection("user:alice:rwx"));
    assertEquals("ACL qualifier \"-1\"", rejection("user:-1:rwx"));
    assertEquals("ACL qualifier 4294967296", rejection("user:4294967296:rwx"));
    assertEquals("ACL permission \"wr\"", rejection("user::wr"));
    assertEquals("ACL permission \"8\"", rejection("user::8"));
    assertEquals("ACL permission \"\"", rejection("user::"));
  }

  @Test
  void rejectsEntriesThatCanNotBe() {
    Class<IllegalArgumentException> illegal = IllegalArgumentException.class;
    assertThrows(illegal, () -> AclEntry.of(AclScope.ACCESS, AclTag.USER, 7));
    assertThrows(illegal, () -> AclEntry.of(AclScope.ACCESS, AclTag.MASK, 0, 7));
    assertThrows(illegal, () -> AclEntry.of(AclScope.ACCESS, AclTag.MASK, 8));
    assertThrows(illegal, () -> AclEntry.of(AclScope.ACCESS, AclTag.GROUP, -1, 7));
    assertThrows(NullPointerException.class, () -> AclEntry.of(null, AclTag.MASK, 7));
  }

  @Test
  void entriesAreEqualByAllTheirParts() {
    AclEntry entry = AclEntry.parse("user:1:r--");
    assertEquals(entry, AclEntry.parse("u:1:4"));
    assertEquals(entry.hashCode(), AclEntry.parse("u:1:4").hashCode());
    for (String other : new String[] {"user:2:r--", "group:1:r--", "user:1:rw-", "d:user:1:r--"}) {
      assertNotEquals(entry, AclEntry.parse(other));
    }
    assertNotEquals(entry, "user:1:r--");
  }
}
