package zorf.namenode;

import java.io.IOException;
import java.net.InetSocketAddress;
import java.nio.file.Path;
import java.time.Duration;
import java.util.List;
import java.util.concurrent.TimeUnit;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FsServerDefaults;
import org.apache.hadoop.hdfs.DFSConfigKeys;
import org.apache.hadoop.hdfs.protocol.ClientProtocol;
import org.apache.hadoop.hdfs.server.namenode.ZORFNative;
import org.apache.hadoop.hdfs.server.namenode.zorf.UserThreadCounts;
import org.apache.hadoop.hdfs.server.namenode.zorf.UserThreads;
import org.apache.hadoop.hdfs.server.namenode.zorf.ZorfFiles;
import org.apache.hadoop.security.UserGroupInformation;
import org.apache.hadoop.util.DataChecksum;

/** The service: all its parts, put together. It keeps nothing that a restart would lose. */
final class NameNode implements AutoCloseable {
  private static final String BLOCK_POOL_KEY = "zorf.namenode.block.pool.id";

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
    Root root = new Root(directory, files, options.blockSize());
    Topology topology =
        options.topology() == null ? Topology.none() : Topology.read(options.topology());
    Keys keys = options.keys() == null ? null : new Keys(options.keys());
    UserGroupInformation.setConfiguration(configuration);
    String superuser =
        options.superuser() != null
            ? options.superuser()
            : UserGroupInformation.getLoginUser().getShortUserName();
    users = users(root, superuser, configuration);
    List<?> answers = answers(root, users, topology, keys, options, configuration);
    ClientProtocol client =
        Dispatch.of(
            ClientProtocol.class,
            answers,
            users,
            new Errors(root),
            new AuditLog(configuration, files, directory));
    service =
        new RpcService(
            configuration, new InetSocketAddress(options.bind(), options.port()), client);
  }

  private static Users users(Root root, String superuser, Configuration configuration)
      throws IOException, InterruptedException {
    Statuses statuses = new Statuses(root);
    UserThreads threads =
        UserThreads.builder()
            .superuser(superuser)
            .warmUp(() -> statuses.of(root.get("/")))
            .build();
    return new Users(
        threads,
        superuser,
        configuration.get(
            DFSConfigKeys.DFS_PERMISSIONS_SUPERUSERGROUP_KEY,
            DFSConfigKeys.DFS_PERMISSIONS_SUPERUSERGROUP_DEFAULT));
  }

  /** What answers the calls of clients, a subject each. */
  private static List<?> answers(
      Root root,
      Users users,
      Topology topology,
      Keys keys,
      Options options,
      Configuration configuration) {
    Access access = new Access(root);
    Ownership ownership = new Ownership(root, users);
    Statuses statuses = new Statuses(root);
    Leases leases = new Leases();
    Directories directories = new Directories(root, access, ownership);
    long tokenMinutes =
        configuration.getLong(
            DFSConfigKeys.DFS_BLOCK_ACCESS_TOKEN_LIFETIME_KEY,
            DFSConfigKeys.DFS_BLOCK_ACCESS_TOKEN_LIFETIME_DEFAULT);
    Blocks blocks =
        new Blocks(
            root,
            access,
            topology,
            new BlockTokens(keys, TimeUnit.MINUTES.toMillis(tokenMinutes)),
            leases,
            options.policy(),
            options.blockSize(),
            configuration.get(BLOCK_POOL_KEY, "BP-zorf-1"));
    return List.of(
        new StatusAnswers(root, access, statuses, blocks, leases),
        new Listing(
            root,
            access,
            statuses,
            blocks,
            configuration.getInt(
                DFSConfigKeys.DFS_LIST_LIMIT, DFSConfigKeys.DFS_LIST_LIMIT_DEFAULT)),
        new Summary(root, access),
        blocks,
        directories,
        new Creation(root, access, directories, ownership, statuses, leases),
        new Writing(root, access, statuses, blocks, leases),
        new Renaming(root, access),
        new Deletion(root, access),
        new Properties(root, access, ownership, users),
        new Acls(root, access),
        new Attributes(
            root,
            access,
            configuration.getInt(
                DFSConfigKeys.DFS_NAMENODE_MAX_XATTRS_PER_INODE_KEY,
                DFSConfigKeys.DFS_NAMENODE_MAX_XATTRS_PER_INODE_DEFAULT),
            configuration.getInt(
                DFSConfigKeys.DFS_NAMENODE_MAX_XATTR_SIZE_KEY,
                DFSConfigKeys.DFS_NAMENODE_MAX_XATTR_SIZE_DEFAULT)),
        new ServerAnswers(root, topology, defaults(options, configuration)));
  }

  private static FsServerDefaults defaults(Options options, Configuration configuration) {
    return new FsServerDefaults(
        options.blockSize(),
        512,
        65_536,
        (short) configuration.getInt(DFSConfigKeys.DFS_REPLICATION_KEY, 3),
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

  /** {@return how busy the threads are that act as users} */
  UserThreadCounts threadCounts() {
    return users.threadCounts();
  }

  @Override
  public void close() {
    service.close();
    users.close();
  }
}
