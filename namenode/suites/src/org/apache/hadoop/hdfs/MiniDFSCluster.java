package org.apache.hadoop.hdfs;

import java.io.File;
import java.io.IOException;
import java.lang.reflect.InvocationHandler;
import java.lang.reflect.InvocationTargetException;
import java.lang.reflect.Proxy;
import java.net.InetSocketAddress;
import java.net.URI;
import java.security.PrivilegedExceptionAction;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.atomic.AtomicBoolean;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.hdfs.protocol.ClientProtocol;
import org.apache.hadoop.hdfs.server.namenode.FSNamesystem;
import org.apache.hadoop.hdfs.server.namenode.NameNode;
import org.apache.hadoop.hdfs.server.namenode.SeenByClients;
import org.apache.hadoop.hdfs.server.protocol.NamenodeProtocols;
import org.apache.hadoop.ipc.RemoteException;
import org.apache.hadoop.security.UserGroupInformation;
import zorf.namenode.DataNodes;
import zorf.namenode.ScratchDirectory;
import zorf.namenode.ScratchService;

/**
 * What Hadoop's own tests start: here it is the service on a scratch directory. It stands before the
 * class of this name in Hadoop's tests jar and has the methods that the suites call; what a suite asks
 * beyond them fails it with the method's name.
 */
public class MiniDFSCluster implements AutoCloseable {
  static {
    HdfsConfiguration.init(); // reads hdfs-site.xml into the configurations that there are already
  }

  private final Configuration configuration;
  private final ScratchDirectory directory;
  private final List<FileSystem> clients = new ArrayList<>();
  private final DataNodes dataNodes;
  private ScratchService service;

  private MiniDFSCluster(Builder builder) throws IOException {
    FileSystem.enableSymlinks(); // a client's own switch, as the suites know it
    configuration = builder.configuration;
    directory = ScratchDirectory.take(builder.directory);
    if (builder.format || !directory.exists()) {
      directory.empty();
    }
    int replication = configuration.getInt(DFSConfigKeys.DFS_REPLICATION_KEY, 3);
    configuration.setInt(
        DFSConfigKeys.DFS_REPLICATION_KEY, Math.min(replication, builder.dataNodes));
    dataNodes = new DataNodes(directory, builder.dataNodes, builder.racks);
    service = ScratchService.start(directory, dataNodes, configuration, builder.port);
    FileSystem.setDefaultUri(configuration, getURI(0));
  }

  /** Says what to start. The DataNodes are all on this host, whatever names they should have. */
  public static class Builder {
    private final Configuration configuration;
    private final File directory;
    private boolean format = true;
    private int port;
    private int dataNodes = 1;
    private String[] racks;

    public Builder(Configuration configuration) {
      this(configuration, null);
    }

    public Builder(Configuration configuration, File directory) {
      this.configuration = configuration;
      this.directory = directory;
    }

    public Builder format(boolean value) {
      format = value;
      return this;
    }

    public Builder nameNodePort(int value) {
      port = value;
      return this;
    }

    public Builder numDataNodes(int value) {
      dataNodes = value;
      return this;
    }

    public Builder hosts(String[] value) {
      return this;
    }

    public Builder racks(String[] value) {
      racks = value;
      return this;
    }

    public Builder waitSafeMode(boolean value) {
      return this;
    }

    public MiniDFSCluster build() throws IOException {
      return new MiniDFSCluster(this);
    }
  }

  /** It listens when it has been built. */
  public void waitActive() {}

  public void waitClusterUp() {}

  public Configuration getConfiguration(int index) {
    return configuration;
  }

  public URI getURI() {
    return getURI(0);
  }

  public URI getURI(int index) {
    return URI.create("hdfs://localhost:" + service.port());
  }

  public int getNameNodePort() {
    return service.port();
  }

  public DistributedFileSystem getFileSystem() throws IOException {
    FileSystem client = FileSystem.get(getURI(), configuration);
    clients.add(client);
    return (DistributedFileSystem) client;
  }

  /** A stand-in that looks up what the suites look into by asking the service as a client does. */
  public FSNamesystem getNamesystem() {
    PrivilegedExceptionAction<FileSystem> open =
        () -> FileSystem.newInstance(getURI(), configuration);
    try {
      FileSystem client = UserGroupInformation.getLoginUser().doAs(open);
      clients.add(client);
      return SeenByClients.namesystem((DistributedFileSystem) client, new Inheritance());
    } catch (IOException | InterruptedException e) {
      throw new IllegalStateException(e);
    }
  }

  /** A setting that the service reads when it starts. */
  private final class Inheritance implements SeenByClients.Inheritance {
    private static final String KEY =
        DFSConfigKeys.DFS_NAMENODE_POSIX_ACL_INHERITANCE_ENABLED_KEY;

    @Override
    public boolean isEnabled() {
      return configuration.getBoolean(
          KEY, DFSConfigKeys.DFS_NAMENODE_POSIX_ACL_INHERITANCE_ENABLED_DEFAULT);
    }

    @Override
    public void enable(boolean enabled) throws IOException {
      if (enabled != isEnabled()) {
        configuration.setBoolean(KEY, enabled);
        restartNameNode(true);
        try {
          getFileSystem().getFileStatus(new Path("/"));
        } catch (IOException e) {
          // A client's call that finds its connection broken; the next one makes another.
        }
      }
    }
  }

  public NameNode getNameNode() {
    return SeenByClients.nameNode(getNamesystem());
  }

  /** The calls that are a client's, over RPC. */
  public NamenodeProtocols getNameNodeRpc() throws IOException {
    ClientProtocol client =
        NameNodeProxiesClient.createNonHAProxyWithClientProtocol(
            new InetSocketAddress("localhost", getNameNodePort()),
            configuration,
            UserGroupInformation.getCurrentUser(),
            false,
            new AtomicBoolean());
    InvocationHandler forward =
        (proxy, method, arguments) -> {
          try {
            return method.invoke(client, arguments);
          } catch (InvocationTargetException e) {
            throw e.getCause() instanceof RemoteException remote ? local(remote) : e.getCause();
          }
        };
    Class<?>[] types = {NamenodeProtocols.class};
    return (NamenodeProtocols)
        Proxy.newProxyInstance(NamenodeProtocols.class.getClassLoader(), types, forward);
  }

  /** The exception that the server threw; clients only make those again that are IOExceptions. */
  private static Exception local(RemoteException remote) throws ReflectiveOperationException {
    Class<?> type = Class.forName(remote.getClassName());
    return IOException.class.isAssignableFrom(type)
        ? remote.unwrapRemoteException()
        : (Exception) type.getConstructor(String.class).newInstance(remote.getMessage());
  }

  public void restartNameNode(boolean waitActive) throws IOException {
    int port = service.port();
    service.close();
    service = ScratchService.start(directory, dataNodes, configuration, port);
  }

  public void shutdown() {
    shutdown(false, true);
  }

  public void shutdown(boolean deleteFiles, boolean closeClients) {
    if (closeClients) {
      for (FileSystem client : clients) {
        try {
          client.close();
        } catch (IOException e) {
          // A test may have stopped what the client would tell.
        }
      }
    }
    service.close();
    dataNodes.close();
    directory.free();
  }

  @Override
  public void close() {
    shutdown();
  }
}
