package zorf.namenode;

import java.io.IOException;
import java.net.InetSocketAddress;
import java.nio.file.Path;
import java.time.Duration;
import java.util.List;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FsServerDefaults;
import org.apache.hadoop.hdfs.DFSConfigKeys;
import org.apache.hadoop.hdfs.protocol.ClientProtocol;
import org.apache.hadoop.hdfs.server.namenode.ZORFNative;
import org.apache.hadoop.hdfs.server.namenode.zorf.UserThreads;
import org.apache.hadoop.hdfs.server.namenode.zorf.ZorfFiles;
import org.apache.hadoop.security.UserGroupInformation;
import org.apache.hadoop.util.DataChecksum;

/** The service: all its parts, put together. It keeps nothing that a restart would lose. */
final class NameNode implements AutoCloseable {
  private final Users users;
  private final RpcService service;

  /**
   * Puts the parts together and binds the port.
   *
   * @param options the command line
   * @param configuration Hadoop's
   */
  NameNode(Options options, Configuration configuration) throws IOException, InterruptedException {
    Path directory = options.root().toRealPath();
    ZORFNative.setUMask((short) 0); // modes come from the clients, who have their masks applied
    ZorfFiles.choosePolicy(options.policy(), options.blockSize());
    ZorfFiles files = ZorfFiles.cachingNames(Duration.ofSeconds(30), 10_000);
    Root root = new Root(directory, files);
    Statuses statuses = new Statuses(files);
    UserGroupInformation.setConfiguration(configuration);
    String superuser =
        options.superuser() != null
            ? options.superuser()
            : UserGroupInformation.getLoginUser().getShortUserName();
    UserThreads threads =
        UserThreads.builder()
            .superuser(superuser)
            .warmUp(() -> statuses.of(new byte[0], root.status(directory.toString()).status()))
            .build();
    users =
        new Users(
            threads,
            superuser,
            configuration.get(
                DFSConfigKeys.DFS_PERMISSIONS_SUPERUSERGROUP_KEY,
                DFSConfigKeys.DFS_PERMISSIONS_SUPERUSERGROUP_DEFAULT));
    List<?> answers =
        List.of(
            new StatusAnswers(root, statuses),
            new Listing(
                root,
                statuses,
                configuration.getInt(
                    DFSConfigKeys.DFS_LIST_LIMIT, DFSConfigKeys.DFS_LIST_LIMIT_DEFAULT)),
            new ServerAnswers(defaults(options, configuration)));
    ClientProtocol client = Dispatch.of(ClientProtocol.class, answers, users, CallObserver.NONE);
    service =
        new RpcService(
            configuration, new InetSocketAddress(options.bind(), options.port()), client);
  }

  private static FsServerDefaults defaults(Options options, Configuration configuration) {
    return new FsServerDefaults(
        options.blockSize(),
        512,
        65_536,
        (short) configuration.getInt(DFSConfigKeys.DFS_REPLICATION_KEY, 2),
        configuration.getInt("io.file.buffer.size", 4096),
        false,
        configuration.getLong("fs.trash.interval", 0),
        DataChecksum.Type.CRC32C,
        "");
  }

  void start() {
    service.start();
  }

  InetSocketAddress address() {
    return service.address();
  }

  @Override
  public void close() {
    service.close();
    users.close();
  }
}
