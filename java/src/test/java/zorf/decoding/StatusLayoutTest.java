package zorf.decoding;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.time.Instant;
import java.util.Arrays;
import org.apache.hadoop.hdfs.server.namenode.zorf.FileStatus;
import org.apache.hadoop.hdfs.server.namenode.zorf.FileType;
import org.apache.hadoop.hdfs.server.namenode.zorf.StatusLayout;
import org.junit.jupiter.api.Test;

class StatusLayoutTest {
  private final StatusLayout layout = new StatusLayout(Bytes.table());

  private String rejection(int index, int value) {
    int[] table = Bytes.table();
    table[index] = value;
    return assertThrows(IllegalArgumentException.class, () -> new StatusLayout(table)).getMessage();
  }

  @Test
  void readsEveryFieldOfARecord() {
    FileStatus status = layout.decode(Bytes.status(0100640, 40L << 30));
    assertEquals(4711, status.inode());
    assertEquals(0100640, status.mode());
    assertEquals(40L << 30, status.size());
    assertEquals(4294967294L, status.uid());
    assertEquals(100, status.gid());
    assertEquals(Instant.ofEpochSecond(1, 999_999_999), status.accessTime());
    assertEquals(Instant.parse("2023-11-14T22:13:20.123456789Z"), status.modificationTime());
    assertEquals(Instant.parse("1969-12-31T23:59:59.000000005Z"), status.changeTime());
    assertEquals(
        "4711 -rw-r----- 4294967294 100 42949672960 2023-11-14T22:13:20.123456789Z",
        status.toString());
  }

  @Test
  void followsATableOfAnotherArchitecture() {
    int[] table = {0, 4, 4, 4, 8, 4, 12, 8, 20, 8, 28, 8, 36, 8, 44, 8, 52, 0};
    byte[] record =
        new Bytes().ints(-1, 0040755, 12, 1, 2, 3, 4, 5, 6).longs(1L << 40, 7).array();
    FileStatus status = new StatusLayout(table).decode(record);
    assertEquals(-1, status.inode());
    assertEquals(FileType.DIRECTORY, status.type());
    assertEquals(12, status.size());
    assertEquals(Instant.ofEpochSecond(1, 2), status.accessTime());
    assertEquals(Instant.ofEpochSecond(3, 4), status.modificationTime());
    assertEquals(Instant.ofEpochSecond(5, 6), status.changeTime());
    assertEquals(1L << 40, status.uid());
    assertEquals(7, status.gid());
  }

  @Test
  void laterChangesOfTheTableAreNotSeen() {
    int[] table = Bytes.table();
    StatusLayout copy = new StatusLayout(table);
    Arrays.fill(table, -1);
    assertEquals(144, copy.recordLength());
    assertEquals(4711, copy.decode(Bytes.status(0100644, 0)).inode());
    assertEquals(Arrays.toString(Bytes.table()), copy.toString());
  }

  @Test
  void rejectsTablesOfAnotherLength() {
    for (int length : new int[] {0, 9, 17, 19, 36}) {
      int[] table = Arrays.copyOf(Bytes.table(), length);
      String message =
          assertThrows(IllegalArgumentException.class, () -> new StatusLayout(table)).getMessage();
      assertEquals("layout table of " + length + " integers instead of 18", message);
    }
  }

  @Test
  void rejectsSizesThatNoFieldHas() {
    assertEquals("INODE has a size of 0 bytes", rejection(1, 0));
    assertEquals("MODE has a size of 2 bytes", rejection(3, 2));
    assertEquals("SIZE has a size of 16 bytes", rejection(5, 16));
    assertEquals("ACCESS_TIME has a size of 4 bytes", rejection(7, 4));
    assertEquals("CHANGE_TIME has a size of 17 bytes", rejection(11, 17));
    assertEquals("UID has a size of -4 bytes", rejection(13, -4));
  }

  @Test
  void rejectsFieldsOutsideOfTheRecord() {
    assertEquals("INODE lies outside of a record of 144 bytes", rejection(0, 137));
    assertEquals("GID lies outside of a record of 144 bytes", rejection(14, -1));
    assertEquals(
        "MODIFICATION_TIME lies outside of a record of 144 bytes", rejection(8, Integer.MAX_VALUE));
    assertEquals("CHANGE_TIME lies outside of a record of 119 bytes", rejection(16, 119));
  }

  @Test
  void rejectsAnEndThatIsNone() {
    String shown = "bad end marker in layout table [8, 8, 24, 4, 48, 8, 72, 16, 88, 16, 104, 16, ";
    assertEquals(shown + "28, 4, 32, 4, 144, 8]", rejection(17, 8));
    assertEquals(shown + "28, 4, 32, 4, -1, 0]", rejection(16, -1));
  }

  @Test
  void rejectsRecordsOfAnotherLength() {
    for (int length : new int[] {0, 143, 145, 288}) {
      byte[] record = new byte[length];
      String message =
          assertThrows(IllegalArgumentException.class, () -> layout.decode(record)).getMessage();
      assertEquals("status record of " + length + " bytes instead of 144", message);
    }
  }

  @Test
  void rejectsTimesBeyondAnyCalendar() {
    byte[] record = Bytes.status(0100644, 0);
    ByteBuffer.wrap(record).order(ByteOrder.nativeOrder()).putLong(88, Long.MAX_VALUE);
    String message =
        assertThrows(IllegalArgumentException.class, () -> layout.decode(record)).getMessage();
    assertEquals("MODIFICATION_TIME of 9223372036854775807 seconds", message);
  }

  @Test
  void showsTypesAndPermissionsAsLsDoes() {
    String[] expected = {
      "100644 -rw-r--r-- 0644", "040755 drwxr-xr-x 0755", "0120777 lrwxrwxrwx 0777",
      "060660 brw-rw---- 0660", "020600 crw------- 0600", "010000 p--------- 0000",
      "0140001 s--------x 0001", "041777 drwxrwxrwt 1777", "041776 drwxrwxrwT 1776",
      "0104755 -rwsr-xr-x 4755", "0104644 -rwSr--r-- 4644", "0102710 -rwx--s--- 2710",
      "0102700 -rwx--S--- 2700", "0150000 ?--------- 0000", "0 ?--------- 0000",
    };
    for (String line : expected) {
      FileStatus status =
          layout.decode(Bytes.status(Integer.parseInt(line.split(" ")[0], 8), 0));
      assertEquals(
          line,
          line.split(" ")[0]
              + " "
              + status.type().symbol()
              + status.permissionText()
              + " "
              + status.permissionOctal());
      assertEquals(Integer.parseInt(status.permissionOctal(), 8), status.permission());
    }
  }
}
