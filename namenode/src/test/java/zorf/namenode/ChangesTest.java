package zorf.namenode;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.net.InetSocketAddress;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.stream.Collectors;
import java.util.stream.Stream;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FileAlreadyExistsException;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.Options.Rename;
import org.apache.hadoop.fs.ParentNotDirectoryException;
import org.apache.hadoop.fs.PathIsNotEmptyDirectoryException;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.hdfs.protocol.ClientProtocol;
import org.apache.hadoop.hdfs.protocolPB.ClientNamenodeProtocolPB;
import org.apache.hadoop.hdfs.protocolPB.ClientNamenodeProtocolTranslatorPB;
import org.apache.hadoop.ipc.Client;
import org.apache.hadoop.ipc.ProtobufRpcEngine2;
import org.apache.hadoop.ipc.RPC;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

/** Directories, renames and deletions, with the conditions and the texts of HDFS. */
class ChangesTest {
  private static final FsPermission MODE = new FsPermission((short) 0755);

  private Served served;
  private ClientProtocol nameNode;

  @BeforeEach
  void serve() throws Exception {
    served = Served.start();
    nameNode = served.as("root").getClient().getNamenode();
  }

  @AfterEach
  void close() throws Exception {
    served.close();
  }

  private void file(String name) throws IOException {
    Files.writeString(served.root().resolve(name), name);
  }

  private void directory(String name) throws IOException {
    Files.createDirectories(served.root().resolve(name));
  }

  private String tree() throws IOException {
    try (Stream<Path> paths = Files.walk(served.root())) {
      return paths
          .skip(1)
          .map(path -> served.root().relativize(path) + (Files.isDirectory(path) ? "/" : ""))
          .sorted()
          .collect(Collectors.joining(" "));
    }
  }

  @Test
  void directoriesAreMadeWithThoseAboveThem() throws Exception {
    FsPermission mode = new FsPermission((short) 01050);
    assertTrue(nameNode.mkdirs("/a/b/c", mode, true));
    assertTrue(nameNode.mkdirs("/a/b/c", mode, true));
    assertEquals("---r-x--T", nameNode.getFileInfo("/a/b/c").getPermission().toString());
    assertEquals("-wxr-x--T", nameNode.getFileInfo("/a").getPermission().toString());
    Refused.with(
        FileNotFoundException.class,
        "Parent directory doesn't exist: /x",
        () -> nameNode.mkdirs("/x/y", MODE, false));
    file("f");
    Refused.with(
        FileAlreadyExistsException.class,
        "Path is not a directory: /f",
        () -> nameNode.mkdirs("/f", MODE, true));
    assertTrue(nameNode.mkdirs("/", MODE, true));
  }

  @Test
  void theOlderRenameMovesIntoDirectoriesAndSaysFalse() throws Exception {
    file("f");
    directory("d");
    assertTrue(nameNode.rename("/f", "/d"));
    assertEquals("d/ d/f", tree());
    assertTrue(nameNode.rename("/d/f", "/d/f"));
    assertFalse(nameNode.rename("/none", "/x"));
    assertFalse(nameNode.rename("/d", "/d/e"));
    assertFalse(nameNode.rename("/d/f", "/none/f"));
    assertFalse(nameNode.rename("/", "/x"));
    file("g");
    assertFalse(nameNode.rename("/g", "/d/f"));
    Refused.with(
        ParentNotDirectoryException.class,
        "/g (is not a directory)",
        () -> nameNode.rename("/d", "/g/d"));
    assertTrue(nameNode.rename("/g", "/h"));
    assertEquals("d/ d/f h", tree());
  }

  @Test
  void theNewerRenameSaysWhyNot() throws Exception {
    file("f");
    file("g");
    directory("d/e");
    directory("empty");
    renameFails(FileNotFoundException.class, "rename source /none is not found.", "/none", "/x");
    renameFails(
        FileAlreadyExistsException.class, "The source /f and destination /f are the same", "/f", "/f");
    renameFails(
        FileAlreadyExistsException.class, "rename destination /g already exists", "/f", "/g");
    renameFails(
        FileNotFoundException.class, "rename destination parent /none not found.", "/f", "/none/x");
    renameFails(
        ParentNotDirectoryException.class, "rename destination parent /g is a file.", "/f", "/g/x");
    renameFails(
        IOException.class, "Source /f and destination /d must both be directories", "/f", "/d");
    renameFails(
        IOException.class,
        "Rename destination /d/e/x is a directory or file under source /d",
        "/d",
        "/d/e/x");
    renameFails(IOException.class, "rename source cannot be the root", "/", "/x");
    renameFails(IOException.class, "rename destination cannot be the root", "/f", "/");
    Refused.with(
        IOException.class,
        "rename destination directory is not empty: /d",
        () -> nameNode.rename2("/empty", "/d", Rename.OVERWRITE));
    nameNode.rename2("/f", "/g", Rename.OVERWRITE);
    assertEquals("f", Files.readString(served.root().resolve("g")));
    nameNode.rename2("/d", "/empty", Rename.OVERWRITE);
    assertEquals("empty/ empty/e/ g", tree());
  }

  private void renameFails(Class<? extends Exception> type, String text, String src, String dst) {
    Refused.with(type, text, () -> nameNode.rename2(src, dst));
  }

  @Test
  void whatIsInADirectoryIsDeletedOnlyIfThatIsWanted() throws Exception {
    directory("d/e/f");
    file("d/e/g");
    Refused.with(
        PathIsNotEmptyDirectoryException.class,
        "`/d is non empty': Directory is not empty",
        () -> nameNode.delete("/d", false));
    assertTrue(nameNode.delete("/d/e/f", false));
    assertTrue(nameNode.delete("/d", true));
    assertFalse(nameNode.delete("/d", true));
    assertFalse(nameNode.delete("/", true));
    assertEquals("", tree());
  }

  @Test
  void aTreeIsDeletedThoughFilesComeMeanwhile() throws Exception {
    directory("d/e");
    for (int i = 0; i < 5000; i++) {
      file("d/e/" + i);
    }
    Path directory = served.root().resolve("d/e");
    Thread writer =
        new Thread(
            () -> {
              try {
                for (int i = 0; i < 100; i++) {
                  Files.createFile(directory.resolve("new" + i));
                }
              } catch (IOException e) {
                // The directory is gone.
              }
            });
    writer.start();
    assertTrue(nameNode.delete("/d", true));
    writer.join();
    assertEquals("", tree());
  }

  @Test
  void aCallThatIsSentAgainIsAnsweredAsBefore() throws Exception {
    Configuration configuration = new Configuration();
    RPC.setProtocolEngine(
        configuration, ClientNamenodeProtocolPB.class, ProtobufRpcEngine2.class);
    ClientNamenodeProtocolPB proxy =
        RPC.getProxy(
            ClientNamenodeProtocolPB.class,
            RPC.getProtocolVersion(ClientNamenodeProtocolPB.class),
            new InetSocketAddress("127.0.0.1", served.uri().getPort()),
            configuration);
    ClientProtocol client = new ClientNamenodeProtocolTranslatorPB(proxy);
    int call = Client.nextCallId();
    for (int attempt = 0; attempt < 3; attempt++) {
      file("f");
      Client.setCallIdAndRetryCount(call, attempt, null);
      assertTrue(client.delete("/f", false));
    }
    assertEquals("f", tree()); // deleted once
    RPC.stopProxy(proxy);
  }

  @Test
  void aLinkOfAClientLeadsWhereItMeantIfHadoopsSwitchIsOn() throws Exception {
    Refused.with(
        UnsupportedOperationException.class,
        "Symlinks not supported",
        () -> nameNode.createSymlink("/d", "/a", MODE, true));
    FileSystem.enableSymlinks(); // for good, in this process
    directory("d");
    file("d/f");
    nameNode.createSymlink("/d", "/a/absolute", MODE, true);
    nameNode.createSymlink("../d/f", "/a/relative", MODE, true);
    assertEquals("/d", nameNode.getLinkTarget("/a/absolute"));
    assertEquals("../d/f", nameNode.getLinkTarget("/a/relative"));
    assertEquals(served.root() + "/d", served.root().resolve("a/absolute").toRealPath() + "");
    assertTrue(nameNode.getFileInfo("/a/absolute").isDirectory());
    assertEquals("/d", new String(nameNode.getFileLinkInfo("/a/absolute").getSymlinkInBytes()));
    Refused.with(
        FileAlreadyExistsException.class,
        "path /a/relative already exists",
        () -> nameNode.createSymlink("x", "/a/relative", MODE, true));
    Refused.with(
        IOException.class,
        "Path /d is not a symbolic link",
        () -> nameNode.getLinkTarget("/d"));
  }
}
