package zorf.namenode;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.net.InetSocketAddress;
import java.net.URI;
import java.nio.channels.SocketChannel;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.atomic.AtomicInteger;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.hdfs.HdfsConfiguration;
import org.apache.hadoop.security.AccessControlException;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.Timeout;
import org.junit.jupiter.api.io.TempDir;

/** Where the service can't become its callers, nobody is served as somebody else. */
@Timeout(180)
class IdentityFaultsTest {
  private static final org.apache.hadoop.fs.Path TOP = new org.apache.hadoop.fs.Path("/");

  @TempDir Path directory;
  private Path root;

  @BeforeEach
  void makeRoot() throws Exception {
    Files.setPosixFilePermissions(directory, PosixFilePermissions.fromString("rwxr-xr-x"));
    root = Files.createDirectory(directory.resolve("root"));
    Files.setPosixFilePermissions(root, PosixFilePermissions.fromString("rwxrwxrwx"));
  }

  private ServiceProcess start(List<String> prefix) throws Exception {
    return new ServiceProcess(prefix, Map.of(), "--root", root.toString(), "--port", "0");
  }

  private static FileSystem impatient(ServiceProcess service, String user) throws Exception {
    Configuration configuration = new HdfsConfiguration();
    configuration.setBoolean("dfs.client.retry.policy.enabled", false);
    return service.as(user, configuration);
  }

  private static boolean make(FileSystem files, String name) throws IOException {
    return files.mkdirs(new org.apache.hadoop.fs.Path("/" + name));
  }

  private String owner(String name) throws IOException {
    return Files.getOwner(root.resolve(name)).getName();
  }

  private static String firstLine(IOException e) {
    return e.getMessage().split("\n")[0];
  }

  @Test
  void aUserWhoIsGoneFromTheHostReadsAsNobodyAndChangesNothing() throws Exception {
    OwnEtc etc = new OwnEtc(directory);
    try (ServiceProcess service = start(etc.prefix())) {
      FileSystem files = impatient(service, "games");
      etc.edit("passwd", "(?m)^games:", "gone:");
      assertEquals(0, files.listStatus(TOP).length);
      IOException e = assertThrows(AccessControlException.class, () -> make(files, "a"));
      assertEquals("user games is unknown on this host", firstLine(e));
      etc.edit("passwd", "(?m)^gone:", "games:");
      assertTrue(make(files, "b"));
      assertEquals("games", owner("b"));
      assertFalse(Files.exists(root.resolve("a")));
    }
  }

  /** Where another source of names is asked next, the C library tells of what that one says. */
  @Test
  void aNameServiceThatFailsIsNotOneThatKnowsNobody() throws Exception {
    OwnEtc etc = new OwnEtc(directory);
    etc.edit("nsswitch.conf", "(?m)^passwd:.*", "passwd: files");
    try (ServiceProcess service = start(etc.prefix())) {
      FileSystem files = impatient(service, "games");
      etc.fail();
      for (int i = 0; i < 3; i++) {
        IOException e = assertThrows(IOException.class, () -> files.listStatus(TOP));
        assertEquals(
            "no thread can act as \"games\": the name service fails", firstLine(e));
        assertThrows(IOException.class, () -> make(files, "a"));
      }
      etc.heal();
      assertTrue(make(files, "b"));
      assertEquals("games", owner("b"));
      assertFalse(Files.exists(root.resolve("a")));
    }
  }

  @Test
  void aNameServiceThatHangsForAUserHoldsUpNobodyElse() throws Exception {
    OwnEtc etc = new OwnEtc(directory);
    List<Thread> callers = new ArrayList<>();
    AtomicInteger served = new AtomicInteger();
    try (ServiceProcess service = start(etc.prefix())) {
      FileSystem known = service.as("daemon");
      assertTrue(make(known, "before"));
      FileSystem hanging = service.as("games"); // tries again
      etc.hang();
      for (int i = 0; i < 30; i++) {
        String name = "hung-" + i;
        Thread caller =
            new Thread(
                () -> {
                  try {
                    make(hanging, name);
                    served.incrementAndGet();
                  } catch (IOException e) {
                    // Told to come again.
                  }
                });
        caller.start();
        callers.add(caller);
      }
      TimeUnit.SECONDS.sleep(4);
      long start = System.nanoTime();
      for (int i = 0; i < 100; i++) {
        assertTrue(make(known, "after-" + i));
      }
      long millis = (System.nanoTime() - start) / 1_000_000;
      assertTrue(millis < 3000, millis + " ms");
      assertEquals(0, served.get());
      etc.heal();
      for (Thread caller : callers) {
        caller.join();
      }
      assertTrue(make(impatient(service, "games"), "again"));
      assertEquals("games", owner("again"));
    } finally {
      etc.heal();
    }
  }

  /** The kernel then leaves a thread the groups that it had, root's. */
  @Test
  void whereGroupsCannotBeSetNobodyIsServed() throws Exception {
    try (ServiceProcess service = start(List.of("setpriv", "--bounding-set=-setgid", "--"))) {
      service.uri();
      assertTrue(service.output().contains("serves root alone"), service.output());
      FileSystem files = impatient(service, "games");
      IOException e = assertThrows(IOException.class, () -> make(files, "a"));
      assertTrue(e.getMessage().startsWith("no thread can act as \"games\": "), e.getMessage());
      assertThrows(IOException.class, () -> files.listStatus(TOP));
      assertFalse(Files.exists(root.resolve("a")));
      assertTrue(make(impatient(service, "root"), "b"));
    }
  }

  @Test
  void withoutDescriptorsNobodyIsServedAsSomebodyElse() throws Exception {
    try (ServiceProcess service = start(List.of("prlimit", "--nofile=400", "--"))) {
      FileSystem known = impatient(service, "daemon");
      assertTrue(make(known, "before"));
      FileSystem unknown = impatient(service, "games");
      unknown.getServerDefaults(TOP); // is connected, and acts as nobody yet
      List<SocketChannel> idle = new ArrayList<>();
      URI uri = URI.create(service.uri());
      int failures = 0;
      try {
        for (int i = 0; i < 500; i++) {
          idle.add(SocketChannel.open(new InetSocketAddress(uri.getHost(), uri.getPort())));
        }
        TimeUnit.SECONDS.sleep(1);
        for (int i = 0; i < 20; i++) {
          failures += tried(known, "daemon-" + i) + tried(unknown, "games-" + i);
        }
      } finally {
        for (SocketChannel each : idle) {
          each.close();
        }
      }
      assertTrue(failures > 0, "there were descriptors enough");
      assertTrue(make(service.as("bin"), "bin-after"));
      try (var made = Files.newDirectoryStream(root, "*-*")) {
        for (Path each : made) {
          String name = each.getFileName().toString();
          assertEquals(name.replaceFirst("-.*", ""), Files.getOwner(each).getName());
        }
      }
    }
  }

  private static int tried(FileSystem files, String name) {
    try {
      make(files, name);
      return 0;
    } catch (IOException e) {
      return 1;
    }
  }
}
