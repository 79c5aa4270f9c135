package zorf.namenode;

import java.io.IOException;
import java.net.InetSocketAddress;
import java.nio.file.Files;
import java.nio.file.NotDirectoryException;
import java.nio.file.Path;
import java.time.Duration;
import java.util.List;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.ha.HAServiceProtocol;
import org.apache.hadoop.hdfs.protocol.ClientProtocol;
import org.apache.hadoop.hdfs.server.namenode.ZORFNative;
import org.apache.hadoop.hdfs.server.namenode.zorf.UserThreadCounts;
import org.apache.hadoop.hdfs.server.namenode.zorf.UserThreads;
import org.apache.hadoop.hdfs.server.namenode.zorf.ZorfFiles;
import org.apache.hadoop.hdfs.server.protocol.NamenodeProtocol;
import org.apache.hadoop.security.UserGroupInformation;

/** The service: all its parts, put together. It keeps nothing that a restart would lose. */
final class NameNode implements AutoCloseable {
  private static final Duration NAMES_KEPT = Duration.ofSeconds(30);
  private static final int MAX_NAMES = 10_000;
  private static final Duration LISTINGS_KEPT = Duration.ofMinutes(2);

  private final Settings settings;
  private final Root root;
  private final Topology topology;
  private final Users users;
  private final Helpers helpers;
  private final DirectoryNames names;
  private final ClientProtocol client;
  private final RpcService service;

  /**
   * Puts the parts together and binds the port.
   *
   * @param options the command line
   * @param configuration Hadoop's
   */
  NameNode(Options options, Configuration configuration) throws IOException, InterruptedException {
    settings = Settings.of(options, configuration);
    Path directory = options.root().toRealPath();
    if (!Files.isDirectory(directory)) {
      throw new NotDirectoryException(directory.toString());
    }
    topology = options.topology() == null ? Topology.none() : Topology.read(options.topology());
    Keys keys = options.keys() == null ? null : new Keys(options.keys());
    ZORFNative.setUMask((short) 0); // modes come from the clients, who have their masks applied
    ZorfFiles.choosePolicy(options.policy(), options.blockSize());
    root =
        new Root(directory, ZorfFiles.cachingNames(NAMES_KEPT, MAX_NAMES), options.blockSize());
    UserGroupInformation.setConfiguration(configuration);
    users = new Users(threads(), settings);
    helpers = new Helpers(users, Runtime.getRuntime().availableProcessors());
    names = new DirectoryNames(root, LISTINGS_KEPT);
    Errors errors = new Errors(root);
    TrustedLinks links = new TrustedLinks(root);
    AdminAnswers admin = new AdminAnswers(root, settings.pool());
    CallObserver observer = new AuditLog(configuration, root.files(), directory);
    client =
        Dispatch.of(
            ClientProtocol.class, answers(options, keys), users, errors, observer, links);
    service =
        new RpcService(
            configuration,
            new InetSocketAddress(options.bind(), options.port()),
            settings.handlers(),
            client,
            Dispatch.of(
                NamenodeProtocol.class,
                List.of(admin.new OfNameNode()),
                users,
                errors,
                CallObserver.NONE,
                links),
            Dispatch.of(
                HAServiceProtocol.class,
                List.of(admin.new OfAvailability()),
                users,
                errors,
                CallObserver.NONE,
                links));
  }

  private UserThreads threads() throws IOException, InterruptedException {
    return UserThreads.builder()
        .superuser(settings.superuser())
        .warmUp(
            () -> {
              Classes.load();
              return new Statuses(root).of(root.get("/"));
            })
        .build();
  }

  /** What answers the calls of clients, a subject each. */
  private List<?> answers(Options options, Keys keys) throws IOException {
    Access access = new Access(root);
    Entrusted entrusted = new Entrusted(root, users, Rights.ofProcess().canSwitch());
    Ownership ownership = new Ownership(root, entrusted);
    Statuses statuses = new Statuses(root);
    Leases leases = new Leases();
    Directories directories =
        new Directories(root, access, ownership, settings.inheritance());
    BlockTokens tokens = new BlockTokens(keys, settings.tokenMillis());
    Blocks blocks =
        new Blocks(
            root,
            access,
            new Unreadable(root, settings.permissions()),
            topology,
            tokens,
            leases,
            options.policy(),
            options.blockSize(),
            settings.pool());
    return List.of(
        new StatusAnswers(root, access, statuses, blocks, leases),
        new Listing(root, access, statuses, blocks, helpers, names, settings.listLimit()),
        new Summary(root, access, helpers),
        blocks,
        directories,
        new Creation(
            root,
            access,
            directories,
            ownership,
            statuses,
            leases,
            settings.minBlockSize(),
            settings.replication()),
        new Writing(root, access, statuses, blocks, leases),
        new Links(root, access, directories, ownership),
        new Renaming(root, access, leases),
        new Deletion(root, access, leases),
        new Properties(root, access, ownership, entrusted, settings.replication()),
        new Acls(root, access, entrusted),
        new Attributes(
            root, access, entrusted, settings.maxAttributes(), settings.maxAttributeSize()),
        new ServerAnswers(root, topology, settings.defaults()));
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

  /** {@return how many calls were told to come again, because others wait for the name service} */
  long refusedNewcomers() {
    return users.refusedNewcomers();
  }

  /** {@return what answers clients, without a connection to it} */
  ClientProtocol client() {
    return client;
  }

  Settings settings() {
    return settings;
  }

  /** Tries what every call needs: the file system, and threads that act as users. */
  void check(String user) throws Exception {
    Caller caller = new Caller(user, null, user.equals(settings.superuser()));
    users.change(caller, () -> root.get("/"));
  }

  /** {@return whether the file system is there that was there at the start} */
  boolean isMounted() {
    try {
      root.checkMounted();
      return true;
    } catch (IOException e) {
      return false;
    }
  }

  /** {@return how many locations were left out of answers, for the topology file has no host} */
  long locationsLeftOut() {
    return topology.leftOut();
  }

  /** {@return how many names were left out of listings, for they are not UTF-8} */
  long namesLeftOut() {
    return names.leftOut();
  }

  @Override
  public void close() {
    service.close();
    helpers.close();
    names.close();
    users.close();
  }
}
