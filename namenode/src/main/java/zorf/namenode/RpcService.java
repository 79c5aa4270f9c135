package zorf.namenode;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.net.InetSocketAddress;
import org.apache.hadoop.HadoopIllegalArgumentException;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.CommonConfigurationKeysPublic;
import org.apache.hadoop.fs.FileAlreadyExistsException;
import org.apache.hadoop.fs.InvalidPathException;
import org.apache.hadoop.fs.ParentNotDirectoryException;
import org.apache.hadoop.fs.PathIsNotEmptyDirectoryException;
import org.apache.hadoop.ha.HAServiceProtocol;
import org.apache.hadoop.ha.proto.HAServiceProtocolProtos.HAServiceProtocolService;
import org.apache.hadoop.ha.protocolPB.HAServiceProtocolPB;
import org.apache.hadoop.ha.protocolPB.HAServiceProtocolServerSideTranslatorPB;
import org.apache.hadoop.hdfs.DFSUtil;
import org.apache.hadoop.hdfs.HDFSPolicyProvider;
import org.apache.hadoop.hdfs.protocol.AclException;
import org.apache.hadoop.hdfs.protocol.ClientProtocol;
import org.apache.hadoop.hdfs.protocol.proto.ClientNamenodeProtocolProtos.ClientNamenodeProtocol;
import org.apache.hadoop.hdfs.protocol.proto.NamenodeProtocolProtos.NamenodeProtocolService;
import org.apache.hadoop.hdfs.protocolPB.ClientNamenodeProtocolPB;
import org.apache.hadoop.hdfs.protocolPB.ClientNamenodeProtocolServerSideTranslatorPB;
import org.apache.hadoop.hdfs.protocolPB.NamenodeProtocolPB;
import org.apache.hadoop.hdfs.protocolPB.NamenodeProtocolServerSideTranslatorPB;
import org.apache.hadoop.hdfs.server.protocol.NamenodeProtocol;
import org.apache.hadoop.ipc.ProtobufRpcEngine2;
import org.apache.hadoop.ipc.RPC;
import org.apache.hadoop.ipc.RetriableException;
import org.apache.hadoop.security.AccessControlException;
import org.apache.hadoop.security.authorize.ProxyUsers;

/** Hadoop's RPC server with the protocols that clients of a NameNode speak. */
final class RpcService implements AutoCloseable {
  private final RPC.Server server;

  /**
   * Binds the port; nobody is served before {@link #start}.
   *
   * @param configuration Hadoop's
   * @param address where to listen; port 0 for any that is free
   * @param handlers how many threads serve clients
   * @param client answers clients
   * @param nameNode answers other services
   * @param availability answers who asks for its state
   */
  RpcService(
      Configuration configuration,
      InetSocketAddress address,
      int handlers,
      ClientProtocol client,
      NamenodeProtocol nameNode,
      HAServiceProtocol availability)
      throws IOException {
    RPC.setProtocolEngine(configuration, ClientNamenodeProtocolPB.class, ProtobufRpcEngine2.class);
    server =
        new RPC.Builder(configuration)
            .setProtocol(ClientNamenodeProtocolPB.class)
            .setInstance(
                ClientNamenodeProtocol.newReflectiveBlockingService(
                    new ClientNamenodeProtocolServerSideTranslatorPB(client)))
            .setBindAddress(address.getHostString())
            .setPort(address.getPort())
            .setNumHandlers(handlers)
            .setVerbose(false)
            .build();
    DFSUtil.addInternalPBProtocol(
        configuration,
        NamenodeProtocolPB.class,
        NamenodeProtocolService.newReflectiveBlockingService(
            new NamenodeProtocolServerSideTranslatorPB(nameNode)),
        server);
    DFSUtil.addInternalPBProtocol(
        configuration,
        HAServiceProtocolPB.class,
        HAServiceProtocolService.newReflectiveBlockingService(
            new HAServiceProtocolServerSideTranslatorPB(availability)),
        server);
    ProxyUsers.refreshSuperUserGroupsConfiguration(configuration);
    if (configuration.getBoolean(
        CommonConfigurationKeysPublic.HADOOP_SECURITY_AUTHORIZATION, false)) {
      server.refreshServiceAcl(configuration, new HDFSPolicyProvider());
    }
    // What clients bring about themselves is not worth a stack trace in the log.
    server.addTerseExceptions(
        FileNotFoundException.class,
        HadoopIllegalArgumentException.class,
        FileAlreadyExistsException.class,
        InvalidPathException.class,
        ParentNotDirectoryException.class,
        PathIsNotEmptyDirectoryException.class,
        AccessControlException.class,
        AclException.class,
        RetriableException.class,
        UnsupportedOperationException.class);
  }

  void start() {
    server.start();
  }

  /** {@return where it listens} */
  InetSocketAddress address() {
    return server.getListenerAddress();
  }

  @Override
  public void close() {
    server.stop();
    try {
      server.join();
    } catch (InterruptedException e) {
      Thread.currentThread().interrupt();
    }
  }
}
