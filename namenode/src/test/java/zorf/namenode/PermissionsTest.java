package zorf.namenode;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.EnumSet;
import java.util.List;
import org.apache.hadoop.crypto.CryptoProtocolVersion;
import org.apache.hadoop.fs.CreateFlag;
import org.apache.hadoop.fs.XAttr;
import org.apache.hadoop.fs.XAttrSetFlag;
import org.apache.hadoop.fs.permission.AclEntry;
import org.apache.hadoop.fs.permission.FsAction;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.hdfs.protocol.ClientProtocol;
import org.apache.hadoop.hdfs.protocol.HdfsFileStatus;
import org.apache.hadoop.io.EnumSetWritable;
import org.apache.hadoop.security.AccessControlException;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.function.Executable;

/** Who may do what, and how a refusal reads: as in HDFS. */
class PermissionsTest {
  private static final FsPermission MODE = new FsPermission((short) 0755);

  private Served served;
  private ClientProtocol root;
  private ClientProtocol daemon;

  @BeforeEach
  void serve() throws Exception {
    served = Served.start();
    root = served.as("root").getClient().getNamenode();
    daemon = served.as("daemon").getClient().getNamenode();
  }

  @AfterEach
  void close() throws Exception {
    served.close();
  }

  private void make(String name, int mode) throws Exception {
    root.mkdirs(name, new FsPermission((short) 0755), true);
    root.setPermission(name, new FsPermission((short) mode));
  }

  private static HdfsFileStatus touch(ClientProtocol nameNode, String name) throws IOException {
    EnumSetWritable<CreateFlag> flags =
        new EnumSetWritable<>(EnumSet.of(CreateFlag.CREATE, CreateFlag.OVERWRITE));
    FsPermission mode = new FsPermission((short) 0640);
    HdfsFileStatus status =
        nameNode.create(
            name,
            mode,
            "client",
            flags,
            true,
            (short) 2,
            1 << 20,
            CryptoProtocolVersion.supported(),
            null,
            null);
    assertTrue(nameNode.complete(name, "client", null, status.getFileId()));
    return status;
  }

  private static void denied(String text, Executable call) {
    Refused.with(AccessControlException.class, "Permission denied" + text, call);
  }

  @Test
  void aRefusalNamesWhatALinkLeadsTo() throws Exception {
    make("/a", 0755);
    make("/a/b", 0700);
    touch(root, "/a/f");
    Files.createSymbolicLink(served.root().resolve("link"), Path.of("a"));
    Files.createSymbolicLink(served.root().resolve("file"), Path.of("a/f"));
    String file = ": user=daemon, access=READ, inode=\"/a/f\":root:root:-rw-r-----";
    denied(file, () -> daemon.getBlockLocations("/file", 0, 1));
    denied(file, () -> daemon.listXAttrs("/file"));
    denied(
        ": user=daemon, access=EXECUTE, inode=\"/a/b\":root:root:drwx------",
        () -> daemon.getFileInfo("/link/b/c"));
    Refused.with(
        AccessControlException.class,
        "/a/f (is not a directory)",
        () -> daemon.getFileInfo("/file/x"));
    Refused.with(
        AccessControlException.class,
        "/a/f (is not a directory)",
        () -> daemon.checkAccess("/file/x", FsAction.READ));
  }

  @Test
  void aLinkGivesNoRightToWhatItLeadsTo() throws Exception {
    make("/a", 0777);
    touch(root, "/f");
    Files.createSymbolicLink(served.root().resolve("a/link"), Path.of("../f"));
    Files.setAttribute(
        served.root().resolve("a/link"), "unix:uid", 1, java.nio.file.LinkOption.NOFOLLOW_LINKS);
    long modified = root.getFileInfo("/f").getModificationTime();
    denied(
        ": user=daemon, access=WRITE, inode=\"/f\":root:root:-rw-r-----",
        () -> daemon.setTimes("/a/link", 1000, 1000));
    assertEquals(modified, root.getFileInfo("/f").getModificationTime());
    denied(
        ". user=daemon is not the owner of inode=/a/link",
        () -> daemon.setOwner("/a/link", "daemon", "daemon"));
  }

  @Test
  void theComponentThatLetsNobodyThroughIsNamed() throws Exception {
    make("/a", 0755);
    make("/a/b", 0700);
    make("/a/b/c", 0777);
    String text = ": user=daemon, access=EXECUTE, inode=\"/a/b\":root:root:drwx------";
    denied(text, () -> daemon.getFileInfo("/a/b/c"));
    denied(text, () -> daemon.getFileInfo("/a/b/none"));
    denied(text, () -> daemon.getListing("/a/b/c", new byte[0], false));
    denied(text, () -> daemon.mkdirs("/a/b/c/d", MODE, true));
    denied(text, () -> daemon.delete("/a/b/c", true));
    denied(text, () -> daemon.rename("/a/b/c", "/x"));
    denied(text, () -> daemon.setPermission("/a/b/c", MODE));
    denied(text, () -> daemon.setTimes("/a/b/c", 1, 1));
    denied(text, () -> daemon.getContentSummary("/a/b/c"));
    denied(text, () -> daemon.getAclStatus("/a/b/c"));
    denied(text, () -> daemon.getXAttrs("/a/b/c", null));
  }

  @Test
  void whatOneMayNotDoNamesTheAccess() throws Exception {
    make("/a", 0744);
    touch(root, "/a/f");
    root.setPermission("/a", MODE);
    String write = ": user=daemon, access=WRITE, inode=\"/a\":root:root:drwxr-xr-x";
    denied(write, () -> daemon.mkdirs("/a/b/c", MODE, true));
    denied(write, () -> touch(daemon, "/a/new"));
    denied(write, () -> daemon.delete("/a/f", false));
    denied(write, () -> daemon.rename("/a/f", "/a/g"));
    denied(write, () -> daemon.rename2("/a/f", "/a/g"));
    String read = ": user=daemon, access=READ, inode=\"/a/f\":root:root:-rw-r-----";
    denied(read, () -> daemon.getBlockLocations("/a/f", 0, 1));
    denied(read, () -> daemon.getXAttrs("/a/f", null));
    denied(read, () -> daemon.checkAccess("/a/f", FsAction.READ));
    String writeFile = ": user=daemon, access=WRITE, inode=\"/a/f\":root:root:-rw-r-----";
    denied(writeFile, () -> daemon.setReplication("/a/f", (short) 3));
    denied(writeFile, () -> daemon.setTimes("/a/f", 1, 1));
    denied(writeFile, () -> daemon.truncate("/a/f", 0, "client"));
    denied(writeFile, () -> daemon.recoverLease("/a/f", "client"));
    XAttr attribute = new XAttr.Builder().setName("x").setValue(new byte[1]).build();
    denied(
        writeFile,
        () -> daemon.setXAttr("/a/f", attribute, EnumSet.of(XAttrSetFlag.CREATE)));
    root.setPermission("/a", new FsPermission((short) 0711));
    denied(
        ": user=daemon, access=READ_EXECUTE, inode=\"/a\":root:root:drwx--x--x",
        () -> daemon.getListing("/a", new byte[0], false));
    denied(
        ": user=daemon, access=READ_EXECUTE, inode=\"/a\":root:root:drwx--x--x",
        () -> daemon.getContentSummary("/"));
  }

  @Test
  void onlyTheOwnerChangesModeAndAcl() throws Exception {
    make("/a", 0777);
    String text = ". user=daemon is not the owner of inode=/a";
    List<AclEntry> acl = AclEntry.parseAclSpec("user:bin:rwx", true);
    denied(text, () -> daemon.setPermission("/a", MODE));
    denied(text, () -> daemon.setOwner("/a", null, "daemon"));
    denied(text, () -> daemon.modifyAclEntries("/a", acl));
    denied(text, () -> daemon.removeAcl("/a"));
    denied(text, () -> daemon.removeDefaultAcl("/a"));
  }

  @Test
  void ownersGiveNothingAwayButToGroupsOfTheirs() throws Exception {
    make("/a", 0777);
    daemon.mkdirs("/a/d", MODE, true);
    Refused.with(
        AccessControlException.class,
        "User daemon is not a super user (non-super user cannot change owner).",
        () -> daemon.setOwner("/a/d", "bin", null));
    Refused.with(
        AccessControlException.class,
        "User daemon does not belong to bin",
        () -> daemon.setOwner("/a/d", null, "bin"));
    daemon.setOwner("/a/d", "daemon", "daemon");
    assertEquals("daemon", daemon.getFileInfo("/a/d").getGroup());
    root.setOwner("/a/d", "bin", "sys");
    HdfsFileStatus status = root.getFileInfo("/a/d");
    assertEquals("bin:sys", status.getOwner() + ":" + status.getGroup());
    Refused.with(
        IOException.class,
        "user zorf_none is unknown on this host",
        () -> root.setOwner("/a/d", "zorf_none", null));
  }

  @Test
  void stickyDirectoriesKeepWhatIsSomebodyElses() throws Exception {
    make("/tmp", 01777);
    touch(root, "/tmp/f");
    String text =
        " by sticky bit: user=daemon, path=\"/tmp/f\":root:root:-rw-r-----, "
            + "parent=\"/tmp\":root:root:drwxrwxrwt";
    denied(text, () -> daemon.delete("/tmp/f", false));
    denied(text, () -> daemon.rename("/tmp/f", "/tmp/g"));
    touch(daemon, "/tmp/own");
    assertTrue(daemon.delete("/tmp/own", false));
  }

  @Test
  void newFilesBelongToTheCallerAndToTheGroupOfTheirDirectory() throws Exception {
    make("/a", 0777);
    root.setOwner("/a", null, "sys");
    assertEquals("sys", touch(daemon, "/a/f").getGroup());
    daemon.mkdirs("/a/b/c", MODE, true);
    HdfsFileStatus status = daemon.getFileInfo("/a/b/c");
    assertEquals("daemon:sys", status.getOwner() + ":" + status.getGroup());
    assertEquals("root", touch(root, "/a/g").getOwner());
  }

  @Test
  void aTreeIsDeletedWholeOrNotAtAll() throws Exception {
    make("/a", 0777);
    daemon.mkdirs("/a/b/c", new FsPermission((short) 0777), true);
    touch(daemon, "/a/b/f");
    root.mkdirs("/a/b/c/d", MODE, true);
    touch(root, "/a/b/c/d/f");
    denied(
        ": user=daemon, access=ALL, inode=\"/a/b/c/d\":root:root:drwxr-xr-x",
        () -> daemon.delete("/a/b", true));
    assertEquals(4, root.getContentSummary("/a/b").getDirectoryCount() + 1);
    assertEquals(2, root.getContentSummary("/a/b").getFileCount());
  }

  @Test
  void anAclLetsInAndKeepsOut() throws Exception {
    make("/a", 0750);
    root.modifyAclEntries("/a", AclEntry.parseAclSpec("user:daemon:r-x,user:bin:---", true));
    assertEquals(0, daemon.getListing("/a", new byte[0], false).getPartialListing().length);
    ClientProtocol bin = served.as("bin").getClient().getNamenode();
    denied(
        ": user=bin, access=READ_EXECUTE, inode=\"/a\":root:root:drwxr-x---+",
        () -> bin.getListing("/a", new byte[0], false));
  }

  @Test
  void aCallerWhomTheHostDoesNotKnowReadsAsNobodyAndChangesNothing() throws Exception {
    make("/a", 0777);
    ClientProtocol unknown = served.as("zorf_none").getClient().getNamenode();
    assertEquals("root", unknown.getFileInfo("/a").getOwner());
    Refused.with(
        AccessControlException.class,
        "user zorf_none is unknown on this host",
        () -> unknown.mkdirs("/a/b", MODE, true));
    Files.createFile(served.root().resolve("f"));
    Files.setAttribute(served.root().resolve("f"), "unix:mode", 0600);
    denied(
        ": user=zorf_none, access=READ, inode=\"/f\":root:root:-rw-------",
        () -> unknown.getBlockLocations("/f", 0, 1));
  }

  @Test
  void aFileOnTheWayIsNoDirectory() throws Exception {
    touch(root, "/f");
    Refused.with(
        org.apache.hadoop.fs.ParentNotDirectoryException.class,
        "/f (is not a directory)",
        () -> root.mkdirs("/f/a", MODE, true));
    assertEquals(null, root.getFileInfo("/f/a"));
    root.setPermission("/f", new FsPermission((short) 0644));
    Refused.with(
        AccessControlException.class,
        "/f (is not a directory)",
        () -> daemon.getFileInfo("/f/a"));
  }

  @Test
  void noTextShowsWhereTheRootIsMounted() throws Exception {
    Path local = served.root().resolve("a");
    Files.createSymbolicLink(local, Path.of("a"));
    Refused.with(
        IOException.class,
        "Too many levels of symbolic links: /a/b",
        () -> root.getFileInfo("/a/b"));
  }
}
