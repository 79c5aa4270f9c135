package zorf.files;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.FileSystemException;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.nio.file.attribute.FileTime;
import java.nio.file.attribute.PosixFilePermissions;
import java.time.Duration;
import java.time.Instant;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Map;
import org.apache.hadoop.hdfs.server.namenode.ZORFNative;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockLocations;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockPolicy;
import org.apache.hadoop.hdfs.server.namenode.zorf.FileStatus;
import org.apache.hadoop.hdfs.server.namenode.zorf.FileType;
import org.apache.hadoop.hdfs.server.namenode.zorf.LocatedFileStatus;
import org.apache.hadoop.hdfs.server.namenode.zorf.ZorfFiles;
import org.junit.jupiter.api.Test;

/** Status, located status, links, permissions, names. */
class StatusTest extends FilesFixture {
  /** Asserts that a status is what Java itself sees. */
  private static void assertAgrees(Path path, FileStatus status, LinkOption... options)
      throws IOException {
    Map<String, Object> seen = Files.readAttributes(path, "unix:*", options);
    List<Object> expected = new ArrayList<>();
    for (String name : new String[] {"ino", "mode", "size", "uid", "gid"}) {
      expected.add(((Number) seen.get(name)).longValue());
    }
    for (String name : new String[] {"lastAccessTime", "lastModifiedTime", "ctime"}) {
      expected.add(((FileTime) seen.get(name)).toInstant());
    }
    assertEquals(
        expected,
        Arrays.asList(
            status.inode(),
            (long) status.mode(),
            status.size(),
            status.uid(),
            status.gid(),
            status.accessTime(),
            status.modificationTime(),
            status.changeTime()));
  }

  @Test
  void aStatusHasItsFieldsAndLinksAreFollowedOrNot() throws Exception {
    Path path = Paths.get(file);
    Files.write(path, "some text".getBytes(StandardCharsets.UTF_8));
    Files.setPosixFilePermissions(path, PosixFilePermissions.fromString("rwxr-x--x"));
    Files.setLastModifiedTime(path, FileTime.from(Instant.parse("2001-02-03T04:05:06.123456789Z")));
    Path link = Files.createSymbolicLink(directory.resolve("link"), Paths.get("file"));
    assertAgrees(path, files.status(file));
    assertAgrees(path, files.status(link.toString()));
    assertAgrees(directory, files.status(directory.toString()));
    assertAgrees(link, files.linkStatus(link.toString()), LinkOption.NOFOLLOW_LINKS);
    assertEquals(FileType.SYMBOLIC_LINK, files.linkStatus(link.toString()).type());
    assertEquals(Files.getAttribute(path, "unix:ino"), ZORFNative.getINum(link.toString()));
    assertArrayEquals(
        "file".getBytes(StandardCharsets.UTF_8), files.linkTarget(link.toString()));
  }

  @Test
  void failuresKnowFileReasonAndNumber() {
    String missing = file + "s";
    String none = "No such file or directory";
    assertFails(NoSuchFileException.class, missing, none, 2, () -> files.status(missing));
    assertFails(NoSuchFileException.class, missing, none, 2, () -> files.linkStatus(missing));
    assertFails(NoSuchFileException.class, missing, none, 2, () -> files.linkTarget(missing));
    assertFails(NoSuchFileException.class, missing, none, 2, () -> files.blocks(missing, 0, 1));
    assertFails(
        NoSuchFileException.class, missing, none, 2, () -> files.locatedStatus(missing, false));
    assertFails(
        NoSuchFileException.class, missing, none, 2, () -> files.setPermission(missing, 0));
    assertFails(
        FileSystemException.class, file, "Invalid argument", 22, () -> files.linkTarget(file));
    String loop = directory.resolve("loop").toString();
    assertFails(
        FileSystemException.class,
        loop,
        "Too many levels of symbolic links",
        40,
        () -> {
          Files.createSymbolicLink(Paths.get(loop), Paths.get(loop));
          files.status(loop);
        });
  }

  @Test
  void whatIsThrownIsDeclared() {
    try {
      files.status(file + "s");
    } catch (IOException e) { // compiles
      assertEquals(NoSuchFileException.class, e.getClass().getSuperclass());
    }
  }

  @Test
  void aLocatedStatusKnowsTheAclAndTheBlocks() throws Exception {
    ZorfFiles.choosePolicy(BlockPolicy.RACKAWARE, 12 * MEBI);
    String big = sparse(30 * MEBI);
    LocatedFileStatus with = files.locatedStatus(big, true);
    assertEquals(30 * MEBI, with.status().size());
    BlockLocations locations = with.locations().get();
    assertEquals(
        "3 blocks of 12582912 bytes with 2 replicas for 31457280 bytes at 0", locations.toString());
    LocatedFileStatus without = files.locatedStatus(big, false);
    assertEquals(
        "0 blocks of 12582912 bytes with 2 replicas for 0 bytes at 0",
        without.locations().get().toString());
    assertFalse(with.hasAcl());
    files.modifyAcl(big, files.parseAcl("user:daemon:r"));
    assertTrue(files.locatedStatus(big, false).hasAcl());
    LocatedFileStatus unasked = files.locatedLinkStatus(big, false, false);
    assertFalse(unasked.hasAcl());
    assertEquals(without.locations().get().toString(), unasked.locations().get().toString());
    assertFalse(files.locatedStatus(directory.toString(), true).locations().isPresent());
    assertEquals(Files.getAttribute(Paths.get(big), "unix:dev"), with.device());
    Path link = Files.createSymbolicLink(directory.resolve("big-link"), Paths.get(big));
    assertEquals(
        FileType.SYMBOLIC_LINK, files.locatedLinkStatus(link.toString(), false).status().type());
    assertEquals(
        FileType.REGULAR, files.locatedStatus(link.toString(), false).status().type());
  }

  @Test
  void permissionsAreSetWithTheStickyBitAndNoOther() throws Exception {
    files.setPermission(file, 0751);
    assertEquals("0751", files.status(file).permissionOctal());
    files.setPermission(directory.toString(), 01777);
    assertEquals("1777", files.status(directory.toString()).permissionOctal());
    assertEquals("permission 2000", illegal(() -> files.setPermission(file, 02000)));
    assertEquals("permission 37777777777", illegal(() -> files.setPermission(file, -1)));
  }

  @Test
  void namesAndIdsAreFoundInBothDirections() throws Exception {
    for (ZorfFiles each :
        new ZorfFiles[] {files, ZorfFiles.cachingNames(Duration.ofMinutes(1), 10)}) {
      for (int i = 0; i < 2; i++) {
        assertEquals("root", each.userName(0));
        assertEquals("daemon", each.groupName(1));
        assertEquals("4000000000", each.userName(4_000_000_000L));
        assertEquals("4000000000", each.groupName(4_000_000_000L));
        assertEquals(0, each.userId("root"));
        assertEquals(1, each.groupId("daemon"));
      }
    }
    assertEquals(
        "-1 names for PT1S",
        illegal(() -> ZorfFiles.cachingNames(Duration.ofSeconds(1), -1)));
  }

  @Test
  void anObserverHearsOfNativesAndHowLongTheyTook() throws Exception {
    List<String> heard = new ArrayList<>();
    ZorfFiles.observe((name, nanos) -> heard.add(name + (nanos > 0 ? "" : " in no time")));
    try {
      files.status(file);
      files.setPermission(file, 0640);
      files.acl(file);
      assertThrows(NoSuchFileException.class, () -> files.attributes(file + "s"));
      files.userName(0);
    } finally {
      ZorfFiles.observe(null);
    }
    files.status(file);
    assertEquals(
        "[getFileStatusNative, setPermission, getAclStatus, dumpXAttrs, getUser]",
        heard.toString());
  }
}
