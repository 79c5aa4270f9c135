package zorf.users;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;

import java.nio.file.AccessDeniedException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import java.time.Duration;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockPolicy;
import org.apache.hadoop.hdfs.server.namenode.zorf.UserThreads;
import org.apache.hadoop.hdfs.server.namenode.zorf.ZorfFailure;
import org.apache.hadoop.hdfs.server.namenode.zorf.ZorfFiles;
import org.junit.jupiter.api.Test;

/** Files by path, as users. */
class FilesTest {
  private static void assertDenied(
      String path, String reason, int errno, UserThreads.Action<?, ?> action) throws Exception {
    try (UserThreads threads = UserThreads.builder().build()) {
      AccessDeniedException e =
          assertThrows(
              AccessDeniedException.class, () -> threads.call(Accounts.user(1), action));
      assertEquals(path + ": " + reason, e.getMessage());
      assertEquals(path, e.getFile());
      assertEquals(errno, ZorfFailure.errnoOf(e));
    }
  }

  @Test
  void whatAUserMayNotIsDeniedWithFileReasonAndNumber() throws Exception {
    ZorfFiles files = ZorfFiles.create();
    Path directory = Files.createTempDirectory("denied");
    String path = Files.createFile(directory.resolve("file")).toString();
    Files.setPosixFilePermissions(directory, PosixFilePermissions.fromString("rwx------"));
    assertDenied(path, "Permission denied", 13, () -> files.status(path));
    assertDenied(path, "Permission denied", 13, () -> files.blocks(path, 0, 1));
    Files.setPosixFilePermissions(directory, PosixFilePermissions.fromString("rwxr-xr-x"));
    Files.setPosixFilePermissions(
        directory.resolve("file"), PosixFilePermissions.fromString("rw-------"));
    assertDenied(path, "Permission denied", 13, () -> files.locatedStatus(path, true));
    assertDenied(
        path,
        "Permission denied: zorf_getxattrs failed.",
        13,
        () -> files.blockGroupFactor(path));
    assertDenied(
        path,
        "Operation not permitted",
        1,
        () -> {
          files.setPermission(path, 0777);
          return null;
        });
  }

  @Test
  void locationsAreForAllWhoMayAskForTheStatus() throws Exception {
    ZorfFiles.choosePolicy(BlockPolicy.RACKAWARE, 1 << 20);
    ZorfFiles files = ZorfFiles.create();
    Path file = Files.createTempFile("located", "");
    Files.write(file, new byte[10]);
    Files.setPosixFilePermissions(file, PosixFilePermissions.fromString("rw-------"));
    try (UserThreads threads = UserThreads.builder().build()) {
      assertEquals(
          "1 blocks of 1048576 bytes with 2 replicas for 10 bytes at 0",
          threads.call(
              Accounts.user(1), () -> files.blocks(file.toString(), 0, 10).next().toString()));
    }
  }

  @Test
  void namesAreKeptForAsLongAsAskedFor() throws Exception {
    ZorfFiles fresh = ZorfFiles.create();
    ZorfFiles keeping = ZorfFiles.cachingNames(Duration.ofHours(1), 10);
    ZorfFiles forgetting = ZorfFiles.cachingNames(Duration.ofNanos(1), 10);
    try (Accounts.Change passwd = new Accounts.Change("passwd")) {
      assertEquals("zorf_user5", keeping.userName(60105));
      assertEquals("zorf_user5", forgetting.userName(60105));
      assertEquals(60105, keeping.userId("zorf_user5"));
      passwd.removeLine("zorf_user5:");
      assertEquals("zorf_user5", keeping.userName(60105));
      assertEquals(60105, keeping.userId("zorf_user5"));
      assertEquals("60105", fresh.userName(60105));
      assertEquals("60105", forgetting.userName(60105));
    }
    assertEquals("zorf_user5", fresh.userName(60105));
    assertEquals(3_000_000_000L, fresh.userId(Accounts.HIGH_IDS));
    assertEquals(3_000_000_001L, fresh.groupId(Accounts.HIGH_IDS));
    assertEquals(Accounts.HIGH_IDS, fresh.userName(3_000_000_000L));
  }
}
