package zorf.namenode;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import org.apache.hadoop.fs.InvalidPathException;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.hdfs.protocol.ClientProtocol;
import org.junit.jupiter.api.AfterAll;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

class BadPathsTest {
  private static Served served;
  private static ClientProtocol nameNode;

  @BeforeAll
  static void serve() throws Exception {
    served = Served.start();
    nameNode = served.as("root").getClient().getNamenode();
  }

  @AfterAll
  static void close() throws Exception {
    served.close();
  }

  @ParameterizedTest
  @CsvSource({
    "/a/../b,   Invalid path /a/../b. (it has the component ..)",
    "/..,       Invalid path /... (it has the component ..)",
    "/a/.,      Invalid path /a/.. (it has the component .)",
    "/a//b,     Invalid path /a//b. (it has an empty component)",
    "//,        Invalid path //. (it has an empty component)",
    "/a//,      Invalid path /a/. (it has an empty component)",
    "a/b,       Invalid path a/b. (it is not absolute)",
    "'',        Invalid path . (it is not absolute)",
  })
  void whatIsNoPathIsRefused(String path, String text) {
    Refused.with(InvalidPathException.class, text, () -> nameNode.getFileInfo(path));
    Refused.with(InvalidPathException.class, text, () -> nameNode.delete(path, true));
  }

  @Test
  void oneSlashAtTheEndIsNoPartOfAPath() throws Exception {
    nameNode.mkdirs("/slash/", FsPermission.getDirDefault(), false);
    assertTrue(nameNode.getFileInfo("/slash").isDirectory());
  }

  @Test
  void aNulCharacterIsRefused() {
    Refused.with(
        InvalidPathException.class,
        "Invalid path /a?b. (it has a NUL character)",
        () -> nameNode.getFileInfo("/a\0b"));
  }

  @Test
  void tooManyCharactersAreRefused() {
    Refused.with(
        InvalidPathException.class,
        "Invalid path /" + "x".repeat(39) + ".... (it is longer than 8000 characters)",
        () -> nameNode.getFileInfo("/" + "x".repeat(8000)));
  }

  @Test
  void tooManyComponentsAreRefused() {
    Refused.with(
        InvalidPathException.class,
        "Invalid path " + "/x".repeat(20) + ".... (it has more than 1000 components)",
        () -> nameNode.getFileInfo("/x".repeat(1001)));
  }

  @Test
  void bothPathsOfARenameAreLookedAt() {
    String text = "Invalid path /../b. (it has the component ..)";
    Refused.with(InvalidPathException.class, text, () -> nameNode.rename("/../b", "/a"));
    Refused.with(InvalidPathException.class, text, () -> nameNode.rename2("/a", "/../b"));
  }

  /** Protobuf makes a question mark of it on the way. */
  @Test
  void halfOfASurrogatePairIsRefused() {
    InvalidPathException e =
        assertThrows(InvalidPathException.class, () -> Paths.check("/a\ud83d"));
    assertEquals("Invalid path /a?. (it has half of a surrogate pair)", e.getMessage());
    assertThrows(InvalidPathException.class, () -> Paths.check("/\ude00a"));
    Paths.check("/\ud83d\ude00");
  }

  @ParameterizedTest
  @CsvSource({
    "/.reserved,               /.reserved: /.reserved is not supported on zorf",
    "/.reserved/.inodes/1,     /.reserved/.inodes/1: /.reserved is not supported on zorf",
    "/.reserved/raw/a,         /.reserved/raw/a: /.reserved is not supported on zorf",
    "/a/.snapshot,             /a/.snapshot: .snapshot is not supported on zorf",
    "/a/.snapshot/s1/b,        /a/.snapshot/s1/b: .snapshot is not supported on zorf",
  })
  void placesThatOnlyHdfsHasAreNotSupported(String path, String text) {
    Refused.with(
        UnsupportedOperationException.class, text, () -> nameNode.getFileInfo(path));
  }

  @Test
  void namesThatBeginLikeThoseAreNamesLikeOthers() throws Exception {
    assertEquals(null, nameNode.getFileInfo("/.reservedx"));
    assertEquals(null, nameNode.getFileInfo("/.snapshots"));
    assertEquals(null, nameNode.getFileInfo("/..."));
  }

  @Test
  void aNameThatNoDirectoryTakesIsTooLong() {
    Refused.with(
        org.apache.hadoop.hdfs.protocol.FSLimitException.PathComponentTooLongException.class,
        "The maximum path component name limit of " + "x".repeat(256)
            + " in directory / is exceeded: limit=255 length=256",
        () -> nameNode.getFileInfo("/" + "x".repeat(256)));
  }
}
