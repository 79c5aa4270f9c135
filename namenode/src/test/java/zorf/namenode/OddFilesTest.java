package zorf.namenode;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.Assumptions.assumeFalse;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.security.PrivilegedExceptionAction;
import java.util.Arrays;
import java.util.EnumSet;
import java.util.List;
import java.util.stream.Collectors;
import org.apache.hadoop.fs.CreateFlag;
import org.apache.hadoop.fs.FsShell;
import org.apache.hadoop.fs.XAttrSetFlag;
import org.apache.hadoop.fs.permission.AclEntry;
import org.apache.hadoop.fs.permission.FsAction;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.hdfs.DistributedFileSystem;
import org.apache.hadoop.hdfs.XAttrHelper;
import org.apache.hadoop.hdfs.protocol.ClientProtocol;
import org.apache.hadoop.hdfs.protocol.HdfsFileStatus;
import org.apache.hadoop.io.EnumSetWritable;
import org.apache.hadoop.security.UserGroupInformation;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.Timeout;
import org.junit.jupiter.api.function.Executable;

/** What else than files and directories, and which names, there may be on a POSIX file system. */
@Timeout(60)
class OddFilesTest {
  private static final String GRIN = "\ud83d\ude00";
  private static final EnumSet<XAttrSetFlag> CREATE = EnumSet.of(XAttrSetFlag.CREATE);

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

  private String listing() throws Exception {
    return Arrays.stream(nameNode.getListing("/", new byte[0], false).getPartialListing())
        .map(status -> kind(status) + status.getLocalName())
        .collect(Collectors.joining(" "));
  }

  private static String kind(HdfsFileStatus status) {
    return status.isSymlink() ? "l:" : status.isDirectory() ? "d:" : "f:";
  }

  private void shell(String command) throws Exception {
    Process process =
        new ProcessBuilder("bash", "-c", command)
            .directory(served.root().toFile())
            .inheritIO()
            .start();
    assertEquals(0, process.waitFor(), command);
  }

  @Test
  void aNameBeyondTheBasicPlaneIsListedMadeAndDeleted() throws Exception {
    FsPermission mode = new FsPermission((short) 0750);
    assertTrue(nameNode.mkdirs("/" + GRIN, mode, true));
    assertEquals("d:" + GRIN, listing());
    assertEquals(mode, nameNode.getFileInfo("/" + GRIN).getPermission());
    nameNode.setPermission("/" + GRIN, new FsPermission((short) 01700));
    assertEquals("rwx-----T", nameNode.getFileInfo("/" + GRIN).getPermission().toString());
    Files.writeString(served.root().resolve(GRIN).resolve("a"), "hello");
    assertEquals(5, nameNode.getBlockLocations("/" + GRIN + "/a", 0, 10).getFileLength());
    assertTrue(nameNode.rename("/" + GRIN, "/b"));
    assertEquals("d:b", listing());
  }

  @Test
  void aclsAndAttributesOfSuchANameAreNotAvailable() throws Exception {
    Files.createDirectory(served.root().resolve(GRIN));
    List<AclEntry> acl = AclEntry.parseAclSpec("user:daemon:rwx", true);
    String text = "ACLs are not available for this name: /" + GRIN;
    Refused.with(IOException.class, text, () -> nameNode.modifyAclEntries("/" + GRIN, acl));
    Refused.with(
        IOException.class,
        "attributes are not available for this name: /" + GRIN,
        () -> nameNode.listXAttrs("/" + GRIN));
  }

  @Test
  void namesThatAreNotUtf8AreNotListed() throws Exception {
    shell("touch a $'b\\xff' $'\\xff' c; mkdir $'d\\xe4'");
    assertEquals("f:a f:c", listing());
    assertEquals(2, nameNode.getContentSummary("/").getFileCount());
  }

  @Test
  void theReplacementCharacterIsANameLikeOthers() throws Exception {
    Files.createFile(served.root().resolve("\ufffd"));
    assertEquals("f:\ufffd", listing());
  }

  @Test
  void aLinkWithinIsWhatItLeadsTo() throws Exception {
    Files.createDirectory(served.root().resolve("d"));
    Files.writeString(served.root().resolve("d").resolve("a"), "hello");
    Files.createSymbolicLink(served.root().resolve("l"), Path.of("d"));
    assertEquals("d:d d:l", listing());
    assertEquals(5, nameNode.getFileInfo("/l/a").getLen());
    assertTrue(nameNode.getFileLinkInfo("/l").isSymlink());
  }

  @Test
  void aLinkThatLeavesTheFileSystemIsALink() throws Exception {
    Files.createSymbolicLink(served.root().resolve("out"), Path.of("/proc/self"));
    assertEquals("l:out", listing());
    HdfsFileStatus link = nameNode.getFileInfo("/out");
    assertEquals("l: /proc/self", kind(link) + " " + new String(link.getSymlinkInBytes(), "UTF-8"));
    assertNull(nameNode.getFileInfo("/out/status"));
    Refused.with(
        FileNotFoundException.class,
        "Path is not a file: /out",
        () -> nameNode.getBlockLocations("/out", 0, 1));
    assertEquals(1, nameNode.getListing("/out", new byte[0], false).getPartialListing().length);
    assertTrue(nameNode.delete("/out", true));
    assertTrue(Files.exists(Path.of("/proc/self")));
  }

  /** Whoever may write in there can make such a link, and the superuser changes whole trees. */
  @Test
  void aLinkToTheRestOfTheFileSystemIsNotFollowed() throws Exception {
    Path outside = Files.createTempDirectory("zorf-namenode-outside-");
    Path file = Files.writeString(outside.resolve("a"), "secret");
    Files.createDirectory(outside.resolve("empty"));
    try {
      String before = Files.readAttributes(file, "unix:mode,uid,gid,ctime").toString();
      assertEquals(Files.getFileStore(served.root()), Files.getFileStore(outside));
      Files.createSymbolicLink(served.root().resolve("d"), outside);
      Files.createSymbolicLink(served.root().resolve("f"), file);
      assertEquals("l:d l:f", listing());
      FsPermission mode = new FsPermission((short) 0777);
      DistributedFileSystem superuser = served.as("root");
      FsShell shell = new FsShell(superuser.getConf());
      superuser.getConf().set("fs.defaultFS", served.uri().toString());
      List<String> commands =
          List.of("-chmod -R 777 /", "-chown -R bin:bin /", "-setfacl -R -m user:bin:rwx /");
      for (String command : commands) {
        UserGroupInformation.createRemoteUser("root")
            .doAs((PrivilegedExceptionAction<Integer>) () -> shell.run(command.split(" ")));
      }
      for (String path : List.of("/d/a", "/f")) {
        assertRefused(() -> nameNode.setPermission(path, mode));
        assertRefused(() -> nameNode.setOwner(path, "bin", "bin"));
        assertRefused(() -> nameNode.setTimes(path, 0, 0));
        assertRefused(() -> nameNode.setXAttr(path, XAttrHelper.buildXAttr("user.a"), CREATE));
        List<AclEntry> acl = AclEntry.parseAclSpec("user:bin:rwx", true);
        assertRefused(() -> nameNode.modifyAclEntries(path, acl));
        assertRefused(() -> nameNode.truncate(path, 0, "client"));
        assertRefused(() -> nameNode.getBlockLocations(path, 0, 1));
        assertRefused(() -> nameNode.getAclStatus(path).getEntries().get(0));
      }
      assertRefused(() -> nameNode.mkdirs("/d/new", mode, true));
      assertRefused(() -> nameNode.rename2("/d/a", "/mine"));
      assertFalse(nameNode.rename("/d/a", "/mine"));
      assertFalse(nameNode.delete("/d/empty", true));
      assertNull(nameNode.getListing("/d/empty", new byte[0], false));
      assertNull(nameNode.getFileInfo("/d/a"));
      assertEquals(2, nameNode.getContentSummary("/").getFileCount());
      assertEquals(before, Files.readAttributes(file, "unix:mode,uid,gid,ctime").toString());
    } finally {
      shell("rm -r " + outside);
    }
  }

  private static void assertRefused(Executable call) {
    assertThrows(Exception.class, call);
  }

  @Test
  void whatALinkOutOfTheFileSystemLeadsToIsNeitherChangedNorRead() throws Exception {
    Path outside = Files.createTempFile(Path.of("/dev/shm"), "zorf-namenode-", "");
    try {
      assumeFalse(Files.getFileStore(served.root()).equals(Files.getFileStore(outside)));
      Files.createSymbolicLink(served.root().resolve("out"), outside);
      String before = Files.readAttributes(outside, "unix:mode,uid,gid,ctime").toString();
      String text = "the link leads nowhere that is served: /out";
      Class<FileNotFoundException> type = FileNotFoundException.class;
      Refused.with(
          type, text, () -> nameNode.setPermission("/out", new FsPermission((short) 0777)));
      Refused.with(type, text, () -> nameNode.setOwner("/out", "bin", null));
      Refused.with(type, text, () -> nameNode.setAcl("/out", List.of()));
      Refused.with(type, text, () -> nameNode.listXAttrs("/out"));
      Refused.with(
          type,
          text,
          () -> nameNode.setXAttr("/out", XAttrHelper.buildXAttr("user.a"), CREATE));
      assertEquals(before, Files.readAttributes(outside, "unix:mode,uid,gid,ctime").toString());
    } finally {
      Files.delete(outside);
    }
  }

  @Test
  void aLinkThatLeadsNowhereIsALink() throws Exception {
    Files.createSymbolicLink(served.root().resolve("gone"), Path.of("none"));
    assertEquals("l:gone", listing());
    assertTrue(nameNode.getFileInfo("/gone").isSymlink());
    assertTrue(nameNode.delete("/gone", false));
    assertEquals("", listing());
  }

  @Test
  void aLinkThatLeadsRoundAndRoundIsALink() throws Exception {
    Files.createSymbolicLink(served.root().resolve("a"), Path.of("b"));
    Files.createSymbolicLink(served.root().resolve("b"), Path.of("a"));
    assertEquals("l:a l:b", listing());
    assertTrue(nameNode.getFileInfo("/a").isSymlink());
    Refused.with(
        FileNotFoundException.class,
        "Path is not a file: /a",
        () -> nameNode.getBlockLocations("/a", 0, 1));
    assertTrue(nameNode.delete("/a", false));
    assertEquals("l:b", listing());
  }

  @Test
  void aDirectoryIsListedThoughItsLinksCannotBeFollowed() throws Exception {
    Files.createFile(served.root().resolve("f"));
    Files.createSymbolicLink(served.root().resolve("of-a-file"), Path.of("f/x"));
    Files.createDirectory(served.root().resolve("secret"));
    Files.createFile(served.root().resolve("secret").resolve("f"));
    Files.createSymbolicLink(served.root().resolve("of-a-secret"), Path.of("secret/f"));
    nameNode.setPermission("/secret", new FsPermission((short) 0700));
    nameNode = served.as("daemon").getClient().getNamenode();
    assertEquals("f:f l:of-a-file l:of-a-secret d:secret", listing());
  }

  @Test
  void deletingATreeTakesLinksAndNotWhatTheyLeadTo() throws Exception {
    Files.createDirectory(served.root().resolve("kept"));
    Files.createFile(served.root().resolve("kept").resolve("a"));
    Files.createDirectory(served.root().resolve("d"));
    Files.createSymbolicLink(served.root().resolve("d").resolve("l"), Path.of("../kept"));
    assertTrue(nameNode.delete("/d", true));
    assertEquals("d:kept", listing());
    assertTrue(Files.exists(served.root().resolve("kept").resolve("a")));
  }

  @Test
  void aFifoASocketAndADeviceAreListedAndNeverOpened() throws Exception {
    shell("mkfifo fifo; mknod null c 1 3; python3 -c 'import socket as s;"
        + "s.socket(s.AF_UNIX).bind(\"socket\")'");
    assertEquals("f:fifo f:null f:socket", listing());
    EnumSetWritable<CreateFlag> append = new EnumSetWritable<>(EnumSet.of(CreateFlag.APPEND));
    for (String name : List.of("/fifo", "/null", "/socket")) {
      String text = "Path is not a file: " + name;
      assertEquals(0, nameNode.getFileInfo(name).getLen());
      Refused.with(
          FileNotFoundException.class, text, () -> nameNode.getBlockLocations(name, 0, 1));
      Refused.with(
          FileNotFoundException.class, text, () -> nameNode.truncate(name, 0, "client"));
      Refused.with(
          FileNotFoundException.class, text, () -> nameNode.append(name, "client", append));
      assertFalse(nameNode.setReplication(name, (short) 1));
      Refused.with(
          IOException.class,
          "the times of what is no file can't be set: " + name,
          () -> nameNode.setTimes(name, 1000, 1000));
      nameNode.setOwner(name, "bin", "daemon");
      assertEquals("bin", nameNode.getFileInfo(name).getOwner());
      Refused.with(
          IOException.class,
          "what is no file can't be changed: " + name,
          () -> nameNode.setPermission(name, new FsPermission((short) 0600)));
      ClientProtocol owner = served.as("bin").getClient().getNamenode();
      owner.setPermission(name, new FsPermission((short) 0600));
      assertEquals("rw-------", owner.getFileInfo(name).getPermission().toString());
      nameNode.checkAccess(name, FsAction.READ);
      nameNode.listXAttrs(name);
    }
    assertEquals(3, nameNode.getContentSummary("/").getFileCount());
  }
}
