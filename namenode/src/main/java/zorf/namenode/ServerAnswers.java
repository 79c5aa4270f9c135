package zorf.namenode;

import java.io.IOException;
import java.nio.file.FileStore;
import java.nio.file.Files;
import java.util.Collection;
import org.apache.hadoop.fs.FsServerDefaults;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.ha.HAServiceProtocol;
import org.apache.hadoop.hdfs.protocol.BlockStoragePolicy;
import org.apache.hadoop.hdfs.protocol.DatanodeInfo;
import org.apache.hadoop.hdfs.protocol.ECBlockGroupStats;
import org.apache.hadoop.hdfs.protocol.HdfsConstants.DatanodeReportType;
import org.apache.hadoop.hdfs.protocol.HdfsConstants.SafeModeAction;
import org.apache.hadoop.hdfs.protocol.ReplicatedBlockStats;
import org.apache.hadoop.hdfs.security.token.block.DataEncryptionKey;
import org.apache.hadoop.hdfs.security.token.delegation.DelegationTokenIdentifier;
import org.apache.hadoop.io.Text;
import org.apache.hadoop.security.token.Token;

/** Answers what the service is, how full the file system is, and what administrators ask. */
final class ServerAnswers {
  private final Root root;
  private final Topology topology;
  private final FsServerDefaults defaults;

  ServerAnswers(Root root, Topology topology, FsServerDefaults defaults) {
    this.root = root;
    this.topology = topology;
    this.defaults = defaults;
  }

  @ActsAs(value = ActsAs.Who.SERVICE, paths = {})
  FsServerDefaults getServerDefaults() {
    return defaults;
  }

  @ActsAs(value = ActsAs.Who.SERVICE, paths = {})
  HAServiceProtocol.HAServiceState getHAServiceState() {
    return HAServiceProtocol.HAServiceState.ACTIVE;
  }

  @ActsAs(value = ActsAs.Who.SERVICE, paths = {})
  void msync() {
    // There is no other NameNode whose state could be older.
  }

  /** In the order of the protocol: capacity, used, remaining, and what is wrong with blocks. */
  @ActsAs(value = ActsAs.Who.SERVICE, paths = {})
  long[] getStats() throws IOException {
    root.checkMounted();
    FileStore store = Files.getFileStore(root.directory());
    long total = store.getTotalSpace();
    return new long[] {
      total, total - store.getUnallocatedSpace(), store.getUsableSpace(), 0, 0, 0, 0, 0, 0
    };
  }

  @ActsAs(value = ActsAs.Who.SERVICE, paths = {})
  ReplicatedBlockStats getReplicatedBlockStats() {
    return new ReplicatedBlockStats(0, 0, 0, 0, 0, 0);
  }

  @ActsAs(value = ActsAs.Who.SERVICE, paths = {})
  ECBlockGroupStats getECBlockGroupStats() {
    return new ECBlockGroupStats(0, 0, 0, 0, 0);
  }

  /** The topology's hosts; whether they are up is not known here. */
  @ActsAs(value = ActsAs.Who.SERVICE, paths = {})
  DatanodeInfo[] getDatanodeReport(DatanodeReportType type) {
    Collection<? extends DatanodeInfo> hosts = topology.hosts();
    boolean told = type == DatanodeReportType.ALL || type == DatanodeReportType.LIVE;
    return told ? hosts.toArray(new DatanodeInfo[0]) : new DatanodeInfo[0];
  }

  @ActsAs(value = ActsAs.Who.SERVICE, paths = {})
  DatanodeInfo[] getSlowDatanodeReport() {
    return new DatanodeInfo[0];
  }

  @ActsAs(value = ActsAs.Who.SERVICE, paths = {})
  boolean setSafeMode(SafeModeAction action, boolean isChecked) {
    if (action != SafeModeAction.SAFEMODE_GET && action != SafeModeAction.SAFEMODE_LEAVE) {
      throw new UnsupportedOperationException("safe mode is not supported on zorf");
    }
    return false;
  }

  @ActsAs(value = ActsAs.Who.SERVICE, paths = {})
  BlockStoragePolicy[] getStoragePolicies() {
    return new BlockStoragePolicy[0];
  }

  /** What clients take for "security is off". */
  @ActsAs(value = ActsAs.Who.SERVICE, paths = {})
  Token<DelegationTokenIdentifier> getDelegationToken(Text renewer) {
    return null;
  }

  @ActsAs(value = ActsAs.Who.SERVICE, paths = {})
  DataEncryptionKey getDataEncryptionKey() {
    return null;
  }

  /** There are no encryption zones, the borders that trash has to keep to. */
  @ActsAs(ActsAs.Who.SERVICE)
  Path getEnclosingRoot(String src) {
    return new Path("/");
  }
}
