package zorf.namenode;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.net.InetSocketAddress;
import java.nio.file.Files;
import java.nio.file.Path;
import java.security.PrivilegedExceptionAction;
import java.util.List;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.FsServerDefaults;
import org.apache.hadoop.fs.FsStatus;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.ha.HAServiceStatus;
import org.apache.hadoop.ha.protocolPB.HAServiceProtocolClientSideTranslatorPB;
import org.apache.hadoop.hdfs.HdfsConfiguration;
import org.apache.hadoop.hdfs.NameNodeProxies;
import org.apache.hadoop.hdfs.server.protocol.NamenodeProtocol;
import org.apache.hadoop.hdfs.server.protocol.NamespaceInfo;
import org.apache.hadoop.security.UserGroupInformation;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/** What other services ask, and what Hadoop's configuration decides. */
class AdminTest {
  @TempDir Path directory;

  private Configuration configuration(String key, String value) throws Exception {
    Path file = directory.resolve("hdfs-site.xml");
    Files.writeString(
        file,
        "<configuration><property><name>"
            + key
            + "</name><value>"
            + value
            + "</value></property></configuration>");
    return Configurations.read(List.of(file));
  }

  @Test
  void otherServicesLearnVersionAndState() throws Exception {
    try (Served served = Served.start()) {
      NamespaceInfo info =
          NameNodeProxies.createProxy(
                  new HdfsConfiguration(), served.uri(), NamenodeProtocol.class)
              .getProxy()
              .versionRequest();
      assertEquals("BP-zorf-1 3.4.3", info.getBlockPoolID() + " " + info.getSoftwareVersion());
      HAServiceProtocolClientSideTranslatorPB availability =
          new HAServiceProtocolClientSideTranslatorPB(
              new InetSocketAddress("127.0.0.1", served.uri().getPort()), new HdfsConfiguration());
      HAServiceStatus status = availability.getServiceStatus();
      assertEquals("active true", status.getState() + " " + status.isReadyToBecomeActive());
      availability.monitorHealth();
      availability.close();
    }
  }

  @Test
  void spaceAndHostsAreThoseOfTheFileSystemAndTheTopology() throws Exception {
    Path topology = Files.writeString(directory.resolve("topology"), "1 127.0.0.2:77 r\n");
    try (Served served = Served.start("--topology", topology.toString())) {
      FsStatus status = served.as("daemon").getStatus();
      assertEquals(Files.getFileStore(served.root()).getTotalSpace(), status.getCapacity());
      assertEquals(
          "127.0.0.2:77", served.as("daemon").getDataNodeStats()[0].getXferAddr());
    }
  }

  @Test
  void configurationFilesAreRead() throws Exception {
    Configuration configuration = configuration("dfs.replication", "2");
    try (Served served = Served.start(configuration, "--block-size", "64M")) {
      FsServerDefaults defaults =
          served.as("daemon").getServerDefaults(new org.apache.hadoop.fs.Path("/"));
      assertEquals(
          "67108864 2 512 65536",
          defaults.getBlockSize()
              + " " + defaults.getReplication()
              + " " + defaults.getBytesPerChecksum()
              + " " + defaults.getWritePacketSize());
    }
    assertEquals(
        "2", Configurations.read(List.of(directory)).get("dfs.replication"), "of a directory");
  }

  @Test
  void aConfigurationFileThatIsMissingOrDamagedIsAnError() throws Exception {
    Path none = directory.resolve("none.xml");
    IOException e =
        assertThrows(IOException.class, () -> Configurations.read(List.of(none)));
    assertEquals(
        none + " is no configuration file, nor a directory with one", e.getMessage());
    Path damaged = Files.writeString(directory.resolve("damaged.xml"), "<configuration><prop");
    e = assertThrows(IOException.class, () -> Configurations.read(List.of(damaged)));
    assertTrue(e.getMessage().startsWith("a configuration file is damaged: "), e.getMessage());
  }

  @Test
  void membersOfTheSupergroupMayDoAnythingAndOwnWhatTheyMake() throws Exception {
    try (Served served = Served.start(configuration("dfs.permissions.superusergroup", "daemon"))) {
      FileSystem daemon = served.as("daemon");
      FsPermission mode = new FsPermission((short) 0700);
      assertTrue(daemon.mkdirs(new org.apache.hadoop.fs.Path("/a"), mode));
      assertEquals("daemon", Files.getOwner(served.root().resolve("a")).getName());
      daemon.setOwner(new org.apache.hadoop.fs.Path("/a"), "bin", "bin");
      daemon.mkdirs(new org.apache.hadoop.fs.Path("/a/b"), mode);
      assertEquals("daemon", Files.getOwner(served.root().resolve("a/b")).getName());
      assertEquals(
          "bin",
          Files.readAttributes(
                  served.root().resolve("a/b"), java.nio.file.attribute.PosixFileAttributes.class)
              .group()
              .getName());
    }
  }

  @Test
  void withoutPermissionsEverybodyIsASuperuser() throws Exception {
    try (Served served = Served.start(configuration("dfs.permissions.enabled", "false"))) {
      FileSystem daemon = served.as("daemon");
      assertTrue(daemon.mkdirs(new org.apache.hadoop.fs.Path("/a")));
      assertEquals("daemon", Files.getOwner(served.root().resolve("a")).getName());
    }
  }

  @Test
  void aProxyUserActsForOthersOnlyAsConfigured() throws Exception {
    Configuration configuration = configuration("hadoop.proxyuser.daemon.users", "bin");
    configuration.set("hadoop.proxyuser.daemon.hosts", "127.0.0.1");
    try (Served served = Served.start(configuration)) {
      Files.setAttribute(served.root(), "unix:mode", 01777);
      org.apache.hadoop.fs.Path path = new org.apache.hadoop.fs.Path("/a");
      assertTrue(proxied("bin", served).mkdirs(path));
      assertEquals("bin", Files.getOwner(served.root().resolve("a")).getName());
      IOException e =
          assertThrows(IOException.class, () -> proxied("sys", served).mkdirs(path));
      assertTrue(
          e.getMessage().contains("User: daemon is not allowed to impersonate sys"),
          e.getMessage());
    }
  }

  private static FileSystem proxied(String user, Served served) throws Exception {
    PrivilegedExceptionAction<FileSystem> open =
        () -> FileSystem.newInstance(served.uri(), new HdfsConfiguration());
    return UserGroupInformation.createProxyUser(
            user, UserGroupInformation.createRemoteUser("daemon"))
        .doAs(open);
  }
}
