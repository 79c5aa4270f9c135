package zorf.namenode;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.net.InetAddress;
import java.net.ServerSocket;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import java.util.concurrent.atomic.AtomicBoolean;
import java.util.concurrent.atomic.AtomicLong;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.hdfs.HdfsConfiguration;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.Timeout;
import org.junit.jupiter.api.io.TempDir;

/** The service as a process: how it starts and ends, and what it does in bad surroundings. */
@Timeout(180)
class ProcessTest {
  private static final org.apache.hadoop.fs.Path TOP = new org.apache.hadoop.fs.Path("/");

  private static final String FAILING_LIBRARY =
      """
      #include <dlfcn.h>
      #include <errno.h>
      #include <stdlib.h>
      #include <unistd.h>

      static void* real(const char* name) {
        return dlsym(dlopen(getenv("REAL"), RTLD_NOW), name);
      }

      static int fails(void) {
        if (access(getenv("FAILING"), F_OK) != 0) return 0;
        errno = EIO;
        return 1;
      }

      int zorf_fcntl(int fd, void* buffer) {
        return fails() ? -1 : ((int (*)(int, void*))real("zorf_fcntl"))(fd, buffer);
      }

      int zorf_restripe_file(int fd, void* buffer, int flags) {
        return fails() ? -1
                       : ((int (*)(int, void*, int))real("zorf_restripe_file"))(fd, buffer, flags);
      }
      """;

  @TempDir Path directory;
  private Path root;

  @BeforeEach
  void makeRoot() throws Exception {
    Files.setPosixFilePermissions(directory, PosixFilePermissions.fromString("rwxr-xr-x"));
    root = Files.createDirectory(directory.resolve("root"));
    Files.setPosixFilePermissions(root, PosixFilePermissions.fromString("rwxrwxrwx"));
  }


  @Test
  void itSaysWhatItServesAndEndsWhenToldTo() throws Exception {
    try (ServiceProcess service =
        new ServiceProcess(List.of(), Map.of(), "--root", root.toString(), "--port", "0")) {
      String uri = service.uri();
      assertEquals(
          "zorf-namenode: "
              + uri
              + " serves "
              + root
              + "\n  placement   rackaware-sort, blocks of 134217728 bytes\n"
              + "  versions    Hadoop 3.4.3, Java "
              + System.getProperty("java.version")
              + "\n  superuser   root, and the group supergroup\n"
              + "  identities  every caller acts as the user that the client names\n"
              + "  security    SIMPLE: clients are believed who they are, and only this host can "
              + "ask\n",
          service.output());
      assertEquals(0, service.as("daemon").listStatus(TOP).length);
      assertEquals(0, service.terminate());
    }
  }

  @Test
  void aCheckServesNobody() throws Exception {
    try (ServiceProcess service =
        new ServiceProcess(List.of(), Map.of(), "--root", root.toString(), "--check")) {
      assertEquals(0, service.awaitEnd(), service.output());
      assertTrue(service.output().endsWith("\nall is in order\n"), service.output());
    }
  }

  @Test
  void whatIsWrongIsSaidInALine() throws Exception {
    Path none = directory.resolve("none");
    try (ServiceProcess service =
        new ServiceProcess(List.of(), Map.of(), "--root", none.toString(), "--check")) {
      assertEquals(1, service.awaitEnd());
      assertEquals(
          "zorf-namenode: " + none + ": no such file or directory\n", service.output());
    }
    try (ServiceProcess service = new ServiceProcess(List.of(), Map.of(), "--rot", "/")) {
      assertEquals(2, service.awaitEnd());
      assertTrue(
          service.output().startsWith("zorf-namenode: no option --rot\n"), service.output());
    }
  }

  @Test
  void aPortThatIsTakenIsSaidInALine() throws Exception {
    try (ServerSocket taken = new ServerSocket(0, 1, InetAddress.getLoopbackAddress())) {
      String port = Integer.toString(taken.getLocalPort());
      for (String option : List.of("--port", "--http-port")) {
        try (ServiceProcess service =
            new ServiceProcess(
                List.of(), Map.of(), "--root", root.toString(), "--port", "0", option, port)) {
          assertEquals(1, service.awaitEnd());
          assertEquals(
              "zorf-namenode: port " + port + " of 127.0.0.1 is taken: choose another with " + option + "\n",
              service.output());
        }
      }
    }
  }

  @Test
  void withoutRightsItServesItsOwnUserAlone() throws Exception {
    // The jars may be root's, in its home.
    String readAll = "-all,+dac_read_search";
    List<String> asDaemon =
        List.of(
            "setpriv",
            "--reuid=daemon",
            "--regid=daemon",
            "--clear-groups",
            "--inh-caps=" + readAll,
            "--ambient-caps=" + readAll,
            "--");
    try (ServiceProcess service =
        new ServiceProcess(asDaemon, Map.of(), "--root", root.toString(), "--port", "0")) {
      service.uri();
      assertTrue(
          service
              .output()
              .contains(
                  "\n  identities  serves daemon alone: it has no right to act as others\n"),
          service.output());
      assertTrue(service.as("daemon").mkdirs(new org.apache.hadoop.fs.Path("/d")));
      IOException e =
          assertThrows(IOException.class, () -> service.as("bin").listStatus(TOP));
      assertTrue(e.getMessage().contains("no thread can act as \"bin\""), e.getMessage());
      assertEquals("daemon", Files.getOwner(root.resolve("d")).getName());
      Path fifo = root.resolve("d").resolve("fifo"); // which nobody opens
      assertEquals(0, new ProcessBuilder("mkfifo", fifo.toString()).start().waitFor());
      Files.setAttribute(fifo, "unix:uid", 1);
      service
          .as("daemon")
          .setPermission(
              new org.apache.hadoop.fs.Path("/d/fifo"),
              new org.apache.hadoop.fs.permission.FsPermission((short) 0600));
      assertEquals(0600, (int) Files.getAttribute(fifo, "unix:mode") & 0777);
    }
  }

  @Test
  void aFailingClientLibraryFailsCallsAndNothingElse() throws Exception {
    Path broken = Files.writeString(directory.resolve("broken"), "no topology\n");
    Files.createFile(root.resolve("f"));
    Files.createDirectory(root.resolve("d"));
    try (ServiceProcess service =
        new ServiceProcess(
            List.of(),
            Map.of("ZORF_TOPOLOGY", broken.toString()),
            "--root",
            root.toString(),
            "--port",
            "0")) {
      FileSystem files = service.as("daemon");
      IOException e =
          assertThrows(
              IOException.class, () -> files.getFileStatus(new org.apache.hadoop.fs.Path("/f")));
      assertEquals("Invalid argument: /f", e.getMessage().split("\n")[0]);
      assertTrue(files.getFileStatus(new org.apache.hadoop.fs.Path("/d")).isDirectory());
      assertTrue(files.mkdirs(new org.apache.hadoop.fs.Path("/d2")));
      assertEquals(0, service.terminate());
    }
  }

  @Test
  void aClientLibraryThatFailsForAWhileLeavesNothingBehind() throws Exception {
    Path failing = directory.resolve("failing");
    Files.createFile(root.resolve("f"));
    Map<String, String> environment = libraryThatFailsWhile(failing);
    try (ServiceProcess service =
        new ServiceProcess(
            List.of(), environment, "--root", root.toString(), "--port", "0")) {
      FileSystem files = service.as("daemon");
      org.apache.hadoop.fs.Path file = new org.apache.hadoop.fs.Path("/f");
      assertEquals(0, files.getFileStatus(file).getLen());
      Files.createFile(failing);
      for (int i = 0; i < 3; i++) {
        IOException e = assertThrows(IOException.class, () -> files.getFileStatus(file));
        assertEquals("Input/output error: /f", e.getMessage().split("\n")[0]);
        e = assertThrows(IOException.class, () -> files.listStatus(TOP));
        assertEquals("Input/output error: /f", e.getMessage().split("\n")[0]);
        assertTrue(files.mkdirs(new org.apache.hadoop.fs.Path("/d" + i)));
      }
      Files.delete(failing);
      assertEquals(4, files.listStatus(TOP).length);
      assertEquals(0, files.getFileStatus(file).getLen());
      files.create(new org.apache.hadoop.fs.Path("/g")).close();
      assertEquals("daemon", Files.getOwner(root.resolve("g")).getName());
    }
  }

  /** Compiles one that stands before the real one; what a service needs to find it. */
  private Map<String, String> libraryThatFailsWhile(Path file) throws Exception {
    Path folder = Files.createDirectory(directory.resolve("library"));
    Path source = Files.writeString(folder.resolve("failing.c"), FAILING_LIBRARY);
    Path library = folder.resolve("libzorf.so");
    Process compiler =
        new ProcessBuilder("cc", "-shared", "-fPIC", "-o", library.toString(), source.toString())
            .inheritIO()
            .start();
    assertEquals(0, compiler.waitFor());
    Path real = Path.of(System.getProperty("zorf.library")).resolveSibling("libzorf.so");
    return Map.of(
        "LD_LIBRARY_PATH", folder.toString(), "REAL", real.toString(), "FAILING", file.toString());
  }

  @Test
  void clientsGoOnAfterARestart() throws Exception {
    int port;
    try (ServerSocket free = new ServerSocket(0)) {
      port = free.getLocalPort();
    }
    String[] options = {"--root", root.toString(), "--port", Integer.toString(port)};
    Configuration patient = new HdfsConfiguration();
    patient.setBoolean("dfs.client.retry.policy.enabled", true);
    patient.set("dfs.client.retry.policy.spec", "500,100");
    ServiceProcess first = new ServiceProcess(List.of(), Map.of(), options);
    AtomicLong made = new AtomicLong();
    AtomicBoolean stop = new AtomicBoolean();
    List<Throwable> failures = new ArrayList<>();
    List<Thread> callers = new ArrayList<>();
    for (int i = 0; i < 4; i++) {
      FileSystem files = first.as(i % 2 == 0 ? "daemon" : "bin", patient);
      String name = "/" + i + "-";
      Thread caller = new Thread(() -> work(files, name, made, stop, failures));
      caller.start();
      callers.add(caller);
    }
    while (made.get() < 200) {
      Thread.sleep(10);
    }
    first.close(); // no farewell
    first.awaitEnd();
    long before = made.get();
    try (ServiceProcess second = new ServiceProcess(List.of(), Map.of(), options)) {
      second.uri();
      while (made.get() < before + 200 && failures.isEmpty()) {
        Thread.sleep(10);
      }
      stop.set(true);
      for (Thread caller : callers) {
        caller.join();
      }
      assertEquals(List.of(), failures);
      try (var entries = Files.list(root)) {
        assertEquals(made.get(), entries.count());
      }
    }
  }

  private static void work(
      FileSystem files,
      String name,
      AtomicLong made,
      AtomicBoolean stop,
      List<Throwable> failures) {
    try {
      for (int i = 0; !stop.get(); i++) {
        org.apache.hadoop.fs.Path path = new org.apache.hadoop.fs.Path(name + i);
        files.mkdirs(path);
        files.getFileStatus(path);
        made.incrementAndGet();
      }
    } catch (IOException e) {
      synchronized (failures) {
        failures.add(e);
      }
    }
  }
}
