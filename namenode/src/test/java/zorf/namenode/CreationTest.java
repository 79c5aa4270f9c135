package zorf.namenode;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.util.EnumSet;
import org.apache.hadoop.crypto.CryptoProtocolVersion;
import org.apache.hadoop.fs.CreateFlag;
import org.apache.hadoop.fs.FileAlreadyExistsException;
import org.apache.hadoop.fs.ParentNotDirectoryException;
import org.apache.hadoop.fs.permission.AclEntry;
import org.apache.hadoop.fs.permission.FsCreateModes;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.hdfs.HdfsConfiguration;
import org.apache.hadoop.hdfs.protocol.AlreadyBeingCreatedException;
import org.apache.hadoop.hdfs.protocol.ClientProtocol;
import org.apache.hadoop.hdfs.protocol.HdfsFileStatus;
import org.apache.hadoop.hdfs.server.namenode.LeaseExpiredException;
import org.apache.hadoop.io.EnumSetWritable;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

class CreationTest {
  private static final FsPermission MODE = new FsPermission((short) 0644);
  private static final long MEBI = 1L << 20;
  private static final EnumSet<CreateFlag> NEW = EnumSet.of(CreateFlag.CREATE);
  private static final EnumSet<CreateFlag> OVER =
      EnumSet.of(CreateFlag.CREATE, CreateFlag.OVERWRITE);

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

  private HdfsFileStatus create(String path, EnumSet<CreateFlag> flags, boolean parents)
      throws IOException {
    return create(path, MODE, flags, parents, (short) 2, MEBI);
  }

  private HdfsFileStatus create(
      String path,
      FsPermission mode,
      EnumSet<CreateFlag> flags,
      boolean parents,
      short replication,
      long blockSize)
      throws IOException {
    return nameNode.create(
        path,
        mode,
        "client",
        new EnumSetWritable<>(flags),
        parents,
        replication,
        blockSize,
        CryptoProtocolVersion.supported(),
        null,
        null);
  }

  @Test
  void aNewFileIsOpenUntilItIsComplete() throws Exception {
    HdfsFileStatus status = create("/a/b", NEW, true);
    assertFalse(nameNode.isFileClosed("/a/b"));
    EnumSetWritable<CreateFlag> append = new EnumSetWritable<>(EnumSet.of(CreateFlag.APPEND));
    Refused.with(
        AlreadyBeingCreatedException.class,
        "Failed to APPEND_FILE /a/b for other on 127.0.0.1 because this file lease is currently "
            + "owned by client on 127.0.0.1",
        () -> nameNode.append("/a/b", "other", append));
    Refused.with(
        LeaseExpiredException.class,
        "Client (=other) is not the lease owner (=client: /a/b (inode "
            + status.getFileId()
            + ")",
        () -> nameNode.complete("/a/b", "other", null, status.getFileId()));
    assertTrue(nameNode.complete("/a/b", "client", null, status.getFileId()));
    assertTrue(nameNode.isFileClosed("/a/b"));
    assertEquals("rw-r--r--", nameNode.getFileInfo("/a/b").getPermission().toString());
    assertEquals("rwxr-xr-x", nameNode.getFileInfo("/a").getPermission().toString());
  }

  @Test
  void aFileThatIsAnotherByNowIsNotCompleted() throws Exception {
    HdfsFileStatus status = create("/a", NEW, true);
    create("/b", NEW, true);
    nameNode.rename2("/b", "/a", org.apache.hadoop.fs.Options.Rename.OVERWRITE);
    Refused.with(
        FileNotFoundException.class,
        "File does not exist: /a (inode " + status.getFileId() + ") Holder client",
        () -> nameNode.complete("/a", "client", null, status.getFileId()));
  }

  @Test
  void replicationAndBlockSizeAreAsAskedIfTheFileSystemCan() throws Exception {
    create("/a", MODE, NEW, true, (short) 3, 2 * MEBI);
    HdfsFileStatus status = nameNode.getFileInfo("/a");
    assertEquals("3 2097152", status.getReplication() + " " + status.getBlockSize());
    create("/b", MODE, NEW, true, (short) 512, 3 * MEBI + 1);
    status = nameNode.getFileInfo("/b");
    assertEquals("2 134217728", status.getReplication() + " " + status.getBlockSize());
    Refused.with(
        IOException.class,
        "Requested replication factor of 513 exceeds maximum of 512 for /c",
        () -> create("/c", MODE, NEW, true, (short) 513, MEBI));
    Refused.with(
        IOException.class,
        "Requested replication factor of 0 is less than the required minimum of 1 for /c",
        () -> create("/c", MODE, NEW, true, (short) 0, MEBI));
    Refused.with(
        IOException.class,
        "Specified block size is less than configured minimum value "
            + "(dfs.namenode.fs-limits.min-block-size): 1 < 1048576",
        () -> create("/c", MODE, NEW, true, (short) 1, 1));
  }

  @Test
  void whatIsThereIsReplacedOnlyIfThatIsWanted() throws Exception {
    create("/a", NEW, true);
    Refused.with(
        FileAlreadyExistsException.class,
        "/a for client 127.0.0.1 already exists",
        () -> create("/a", NEW, true));
    create("/a", OVER, true);
    nameNode.mkdirs("/d", MODE, true);
    Refused.with(
        FileAlreadyExistsException.class,
        "/d already exists as a directory",
        () -> create("/d", OVER, true));
    Refused.with(
        FileNotFoundException.class,
        "Can't overwrite non-existent /none",
        () -> create("/none", EnumSet.of(CreateFlag.OVERWRITE), true));
  }

  @Test
  void directoriesOnTheWayAreMadeOnlyIfThatIsWanted() throws Exception {
    Refused.with(
        FileNotFoundException.class,
        "Parent directory doesn't exist: /a/b",
        () -> create("/a/b/c", NEW, false));
    create("/f", NEW, false);
    Refused.with(
        ParentNotDirectoryException.class,
        "/f (is not a directory)",
        () -> create("/f/a", NEW, true));
  }

  @Test
  void howManyReplicasThereMayBeIsTheConfigurations() throws Exception {
    HdfsConfiguration configuration = new HdfsConfiguration();
    configuration.setInt("dfs.namenode.replication.min", 2);
    configuration.setInt("dfs.replication.max", 3);
    serveWith(configuration);
    Refused.with(
        IOException.class,
        "Requested replication factor of 1 is less than the required minimum of 2 for /a",
        () -> create("/a", MODE, NEW, true, (short) 1, MEBI));
    create("/a", MODE, NEW, true, (short) 2, MEBI);
    assertTrue(nameNode.setReplication("/a", (short) 3));
    Refused.with(
        IOException.class,
        "Requested replication factor of 4 exceeds maximum of 3 for /a",
        () -> nameNode.setReplication("/a", (short) 4));
    Refused.with(
        IOException.class,
        "Requested replication factor of 1 is less than the required minimum of 2 for /a",
        () -> nameNode.setReplication("/a", (short) 1));
  }

  private void serveWith(HdfsConfiguration configuration) throws Exception {
    served.close();
    served = Served.start(configuration);
    nameNode = served.as("root").getClient().getNamenode();
  }

  @Test
  void theMaskCountsUnlessADefaultAclSaysWhatNewFilesHave() throws Exception {
    assertEquals("rw-------", masked("/a").getPermission().toString());
    makeDirectoryWithDefaultAcl("/d");
    assertEquals("rw-rw----", masked("/d/a").getPermission().toString());
  }

  @Test
  void theMaskCountsAlsoThereIfTheConfigurationSaysSo() throws Exception {
    HdfsConfiguration configuration = new HdfsConfiguration();
    configuration.setBoolean("dfs.namenode.posix.acl.inheritance.enabled", false);
    serveWith(configuration);
    makeDirectoryWithDefaultAcl("/d");
    assertEquals("rw-------", masked("/d/a").getPermission().toString());
    assertEquals(
        "[user:daemon:rwx, group::r-x]", nameNode.getAclStatus("/d/a").getEntries().toString());
  }

  /** A file whose client would like it to be for all, and whose mask is for the owner alone. */
  private HdfsFileStatus masked(String path) throws IOException {
    FsPermission mode =
        FsCreateModes.create(new FsPermission((short) 0600), new FsPermission((short) 0666));
    return create(path, mode, NEW, true, (short) 2, MEBI);
  }

  private void makeDirectoryWithDefaultAcl(String path) throws IOException {
    nameNode.mkdirs(path, new FsPermission((short) 0755), true);
    nameNode.setAcl(
        path,
        AclEntry.parseAclSpec(
            "user::rwx,group::r-x,other::---,default:user:daemon:rwx,default:other::---", true));
  }
}
