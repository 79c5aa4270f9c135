package zorf.namenode;

import java.io.IOException;
import org.apache.hadoop.ha.HAServiceProtocol.HAServiceState;
import org.apache.hadoop.ha.HAServiceStatus;
import org.apache.hadoop.hdfs.server.protocol.NamespaceInfo;

/** Answers what other services and load tools ask a NameNode. There is one NameNode, and it is active. */
final class AdminAnswers {
  private static final int NAMESPACE_ID = 1;

  private final Root root;
  private final String pool;

  AdminAnswers(Root root, String pool) {
    this.root = root;
    this.pool = pool;
  }

  /** Of the protocol of NameNodes. */
  final class OfNameNode {
    @ActsAs(value = ActsAs.Who.SERVICE, paths = {})
    NamespaceInfo versionRequest() {
      return new NamespaceInfo(NAMESPACE_ID, "CID-zorf", pool, 0);
    }

    @ActsAs(value = ActsAs.Who.SERVICE, paths = {})
    boolean isUpgradeFinalized() {
      return true;
    }

    @ActsAs(value = ActsAs.Who.SERVICE, paths = {})
    boolean isRollingUpgrade() {
      return false;
    }
  }

  /** Of the protocol of high availability. */
  final class OfAvailability {
    @ActsAs(value = ActsAs.Who.SERVICE, paths = {})
    HAServiceStatus getServiceStatus() {
      return new HAServiceStatus(HAServiceState.ACTIVE).setReadyToBecomeActive();
    }

    @ActsAs(value = ActsAs.Who.SERVICE, paths = {})
    void monitorHealth() throws IOException {
      root.checkMounted();
    }
  }
}
