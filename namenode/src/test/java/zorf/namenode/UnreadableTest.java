package zorf.namenode;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.EnumSet;
import java.util.List;
import org.apache.hadoop.fs.XAttr;
import org.apache.hadoop.fs.XAttrSetFlag;
import org.apache.hadoop.hdfs.DFSConfigKeys;
import org.apache.hadoop.hdfs.HdfsConfiguration;
import org.apache.hadoop.hdfs.XAttrHelper;
import org.apache.hadoop.hdfs.protocol.ClientProtocol;
import org.apache.hadoop.security.AccessControlException;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.Test;

/** Files that are marked so that the superuser can't read them. */
class UnreadableTest {
  private static final String NAME = "security.hdfs.unreadable.by.superuser";
  private static final XAttr MARK = XAttrHelper.buildXAttr(NAME, null);
  private static final EnumSet<XAttrSetFlag> CREATE = EnumSet.of(XAttrSetFlag.CREATE);

  private Served served;
  private ClientProtocol root;
  private ClientProtocol daemon;

  private void serve(boolean permissions) throws Exception {
    HdfsConfiguration configuration = new HdfsConfiguration();
    configuration.setBoolean(DFSConfigKeys.DFS_PERMISSIONS_ENABLED_KEY, permissions);
    served = Served.start(configuration);
    Path file = Files.writeString(served.root().resolve("f"), "hello");
    Files.setPosixFilePermissions(file, PosixFilePermissions.fromString("rw-r--r--"));
    Files.setAttribute(file, "unix:uid", 1); // daemon's
    root = served.as("root").getClient().getNamenode();
    daemon = served.as("daemon").getClient().getNamenode();
    daemon.setXAttr("/f", MARK, CREATE);
  }

  @AfterEach
  void close() throws Exception {
    served.close();
  }

  @Test
  void theSuperuserGetsNoBlocksOfThemAndOthersDo() throws Exception {
    serve(true);
    String text =
        "Access is denied for root since the superuser is not allowed to perform this operation.";
    Refused.with(AccessControlException.class, text, () -> root.getBlockLocations("/f", 0, 5));
    Refused.with(AccessControlException.class, text, () -> root.getLocatedFileInfo("/f", true));
    assertEquals(5, root.getLocatedFileInfo("/f", false).getLen());
    assertEquals(5, daemon.getBlockLocations("/f", 0, 5).getFileLength());
    root.rename2("/f", "/g");
    Refused.with(AccessControlException.class, text, () -> root.getBlockLocations("/g", 0, 5));
  }

  @Test
  void theMarkIsSeenByAllAndRemovedByNobody() throws Exception {
    serve(true);
    for (ClientProtocol client : List.of(root, daemon)) {
      assertEquals(
          List.of(NAME),
          client.listXAttrs("/f").stream().map(XAttrHelper::getPrefixedName).toList());
      assertArrayEquals(new byte[0], client.getXAttrs("/f", List.of(MARK)).get(0).getValue());
      Refused.with(
          AccessControlException.class,
          "The xattr '" + NAME + "' can not be deleted.",
          () -> client.removeXAttr("/f", MARK));
      Refused.with(
          AccessControlException.class,
          "User doesn't have permission for xattr: user.hdfs.unreadable.by.superuser",
          () -> client.removeXAttr("/f", attribute("user.hdfs.unreadable.by.superuser")));
    }
    // Who may not write the file can't mark it.
    Refused.with(
        AccessControlException.class,
        "Permission denied: user=bin, access=WRITE, inode=\"/f\":daemon:root:-rw-r--r--",
        () -> served.as("bin").getClient().getNamenode().setXAttr("/f", MARK, CREATE));
  }

  private static XAttr attribute(String name) {
    return XAttrHelper.buildXAttr(name, null);
  }

  @Test
  void itHasNoValueAndIsOnFilesAlone() throws Exception {
    serve(true);
    Refused.with(
        AccessControlException.class,
        "Attempt to set a value for '" + NAME + "'. Values are not allowed for this xattr.",
        () -> root.setXAttr("/f", XAttrHelper.buildXAttr(NAME, new byte[1]), CREATE));
    Refused.with(
        IOException.class,
        "Can only set '" + NAME + "' on a file.",
        () -> root.setXAttr("/", MARK, CREATE));
  }

  @Test
  void withoutPermissionsThereIsNoSuperuserToKeepOut() throws Exception {
    serve(false);
    assertEquals(5, root.getBlockLocations("/f", 0, 5).getFileLength());
  }
}
