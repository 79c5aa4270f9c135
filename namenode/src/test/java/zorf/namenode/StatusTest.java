package zorf.namenode;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;

import java.io.FileNotFoundException;
import java.nio.file.Files;
import java.nio.file.attribute.FileTime;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.Arrays;
import org.apache.hadoop.fs.FileStatus;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.Path;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

class StatusTest {
  private Served served;
  private FileSystem files;

  @BeforeEach
  void serve() throws Exception {
    served = Served.start();
    files = served.as("root");
  }

  @AfterEach
  void close() throws Exception {
    served.close();
  }

  @Test
  void aFileHasTheStatusThatTheFileSystemHas() throws Exception {
    java.nio.file.Path local = Files.writeString(served.root().resolve("a"), "hello");
    Files.setPosixFilePermissions(local, PosixFilePermissions.fromString("rw-r-----"));
    Files.setAttribute(local, "unix:uid", 1);
    Files.setAttribute(local, "unix:gid", 2);
    Files.setLastModifiedTime(local, FileTime.fromMillis(1_234_567_890_123L));
    FileStatus status = files.getFileStatus(new Path("/a"));
    assertEquals(
        "/a false 5 daemon bin rw-r----- 1234567890123 134217728 false",
        status.getPath().toUri().getPath()
            + " " + status.isDirectory()
            + " " + status.getLen()
            + " " + status.getOwner()
            + " " + status.getGroup()
            + " " + status.getPermission()
            + " " + status.getModificationTime()
            + " " + status.getBlockSize()
            + " " + status.hasAcl());
  }

  @Test
  void aDirectoryHasTheTimesThatTheFileSystemHas() throws Exception {
    Files.createDirectory(served.root().resolve("d"));
    files.setTimes(new Path("/d"), 1_234_567_890_123L, 1_234_567_890_456L);
    FileStatus status = files.getFileStatus(new Path("/d"));
    assertEquals(
        "1234567890123 1234567890456",
        status.getModificationTime() + " " + status.getAccessTime());
  }

  @Test
  void aMissingFileIsNotThere() {
    FileNotFoundException e =
        assertThrows(FileNotFoundException.class, () -> files.getFileStatus(new Path("/none")));
    assertEquals("File does not exist: /none", e.getMessage());
  }

  @Test
  void aListingIsSortedByBytes() throws Exception {
    for (String name : new String[] {"b", "a", "Z", "\u00e9", "\uff5e"}) {
      Files.createFile(served.root().resolve(name));
    }
    assertEquals(
        "[Z, a, b, \u00e9, \uff5e]",
        Arrays.stream(files.listStatus(new Path("/")))
            .map(status -> status.getPath().getName())
            .toList()
            .toString());
  }
}
