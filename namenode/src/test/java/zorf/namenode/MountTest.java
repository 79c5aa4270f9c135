package zorf.namenode;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.Assumptions.assumeTrue;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.hdfs.HdfsConfiguration;
import org.apache.hadoop.hdfs.protocol.ClientProtocol;
import org.apache.hadoop.ipc.RetriableException;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

/** A file system that fills up, or goes away, under the service. */
class MountTest {
  private static final FsPermission MODE = new FsPermission((short) 0777);

  private Path root;
  private Served served;
  private ClientProtocol nameNode;
  private boolean mounted;

  @BeforeEach
  void serve() throws Exception {
    root = Files.createTempDirectory("zorf-namenode-mount-");
    mounted = run("mount", "-t", "tmpfs", "-o", "size=64k,nr_inodes=100,mode=755", "none", root.toString()) == 0;
    assumeTrue(mounted, "may not mount a file system");
    served = Served.start(root, new HdfsConfiguration());
    nameNode = served.as("root").getClient().getNamenode();
  }

  @AfterEach
  void close() throws Exception {
    if (mounted) {
      unmount();
    }
    if (served != null) {
      served.close();
    }
  }

  private void unmount() throws Exception {
    mounted = false;
    assertEquals(0, run("umount", "--lazy", root.toString()));
  }

  private static int run(String... command) throws Exception {
    return new ProcessBuilder(List.of(command)).inheritIO().start().waitFor();
  }

  @Test
  void aFileSystemThatIsGoneIsNotTakenForAnEmptyOne() throws Exception {
    assertTrue(nameNode.mkdirs("/a", MODE, true));
    unmount();
    String text = "the file system that is served is not mounted";
    Class<RetriableException> type = RetriableException.class;
    Refused.with(type, text, () -> served.answers().getFileInfo("/"));
    Refused.with(type, text, () -> served.answers().getFileInfo("/a"));
    Refused.with(type, text, () -> served.answers().getListing("/", new byte[0], false));
    Refused.with(type, text, () -> served.answers().mkdirs("/b", MODE, true));
    Refused.with(type, text, () -> served.answers().delete("/a", true));
    Refused.with(type, text, () -> served.answers().rename("/a", "/b"));
    Refused.with(type, text, () -> served.answers().setPermission("/", MODE));
    Refused.with(type, text, () -> served.answers().getContentSummary("/"));
    Refused.with(type, text, () -> served.answers().getAclStatus("/"));
    Refused.with(type, text, () -> served.answers().listXAttrs("/"));
    Refused.with(type, text, () -> served.answers().getStats());
    try (var entries = Files.list(root)) {
      assertEquals(0, entries.count());
    }
  }

  @Test
  void aFullFileSystemSaysSo() throws Exception {
    IOException full = null;
    for (int i = 0; i < 10_000 && full == null; i++) {
      try {
        nameNode.mkdirs("/" + i, MODE, true);
      } catch (IOException e) {
        full = e;
      }
    }
    assertTrue(full != null, "it is never full");
    String text = full.getMessage().split("\n")[0];
    assertTrue(text.matches("No space left on device: /[0-9]+"), text);
    assertTrue(nameNode.delete("/1", false));
    assertTrue(nameNode.mkdirs("/after", MODE, true));
  }
}
