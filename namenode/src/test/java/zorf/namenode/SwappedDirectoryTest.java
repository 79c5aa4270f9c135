package zorf.namenode;

import static org.junit.jupiter.api.Assertions.assertEquals;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.FileTime;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.EnumSet;
import java.util.concurrent.atomic.AtomicBoolean;
import org.apache.hadoop.crypto.CryptoProtocolVersion;
import org.apache.hadoop.fs.CreateFlag;
import org.apache.hadoop.fs.permission.AclEntry;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.hdfs.protocol.ClientProtocol;
import org.apache.hadoop.io.EnumSetWritable;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.function.Executable;

/** What takes the superuser's rights is done to no file but the caller's, whatever he puts on the way to it. */
class SwappedDirectoryTest {
  private static final int ROUNDS = 2000;

  private Served served;
  private ClientProtocol daemon;
  private Path directory;
  private Path victim;

  @BeforeEach
  void serve() throws Exception {
    served = Served.start();
    daemon = served.as("daemon").getClient().getNamenode();
    directory = Files.createDirectories(served.root().resolve("u").resolve("d"));
    Files.setAttribute(directory, "unix:uid", 1); // daemon's,
    Files.setAttribute(directory, "unix:gid", 3); // of a group that daemon is no member of
    victim = Files.createDirectory(served.root().resolve("others")).resolve("f");
    Files.setPosixFilePermissions(
        victim.getParent(), PosixFilePermissions.fromString("rwxr-xr-x")); // the service has no umask
    Files.createFile(victim);
    Files.setPosixFilePermissions(victim, PosixFilePermissions.fromString("rw-rw----"));
    Files.setLastModifiedTime(victim, FileTime.fromMillis(1_234_567_890_000L));
  }

  @AfterEach
  void close() throws Exception {
    served.close();
  }

  /** Calls while the directory is now itself, and now a link to others' one. */
  private void whileSwapped(Executable call) throws Exception {
    AtomicBoolean done = new AtomicBoolean();
    Path aside = directory.resolveSibling("aside");
    Thread swaps =
        new Thread(
            () -> {
              try {
                while (!done.get()) {
                  Files.move(directory, aside);
                  Files.createSymbolicLink(directory, Path.of("../others"));
                  Files.delete(directory);
                  Files.move(aside, directory);
                }
              } catch (IOException e) {
                throw new IllegalStateException(e);
              }
            });
    swaps.start();
    for (int i = 0; i < ROUNDS; i++) {
      try {
        call.execute();
      } catch (IOException e) {
        // It isn't there, it isn't daemon's, it is another file by now.
      } catch (Throwable e) {
        throw new IllegalStateException(e);
      }
    }
    done.set(true);
    swaps.join();
  }

  @Test
  void anotherFileKeepsItsGroup() throws Exception {
    whileSwapped(this::create);
    assertEquals(0, Files.getAttribute(victim, "unix:gid"));
    create();
    assertEquals(3, Files.getAttribute(directory.resolve("f"), "unix:gid"));
  }

  private void create() throws IOException {
    daemon.create(
        "/u/d/f",
        new FsPermission((short) 0644),
        "client",
        new EnumSetWritable<>(EnumSet.of(CreateFlag.CREATE, CreateFlag.OVERWRITE)),
        false,
        (short) 1,
        1 << 20,
        CryptoProtocolVersion.supported(),
        null,
        null);
  }

  @Test
  void anotherFileKeepsItsTimes() throws Exception {
    Path writable = Files.createFile(directory.resolve("f"));
    Files.setPosixFilePermissions(writable, PosixFilePermissions.fromString("rw-rw-rw-"));
    whileSwapped(() -> daemon.setTimes("/u/d/f", 1000, 1000));
    assertEquals(FileTime.fromMillis(1_234_567_890_000L), Files.getLastModifiedTime(victim));
    daemon.setTimes("/u/d/f", 2000, 2000);
    assertEquals(FileTime.fromMillis(2000), Files.getLastModifiedTime(writable));
  }

  @Test
  void anotherFilesAclIsItsOwn() throws Exception {
    ClientProtocol root = served.as("root").getClient().getNamenode();
    Path writable = Files.createFile(directory.resolve("f"));
    Files.setPosixFilePermissions(writable, PosixFilePermissions.fromString("rw-------"));
    root.modifyAclEntries("/u/d/f", AclEntry.parseAclSpec("user:daemon:rw-", true));
    root.modifyAclEntries("/others/f", AclEntry.parseAclSpec("user:bin:rw-", true));
    whileSwapped(() -> daemon.setTimes("/u/d/f", 1000, 1000));
    assertEquals(FileTime.fromMillis(1_234_567_890_000L), Files.getLastModifiedTime(victim));
    daemon.setTimes("/u/d/f", 2000, 2000);
    assertEquals(FileTime.fromMillis(2000), Files.getLastModifiedTime(writable));
  }
}
