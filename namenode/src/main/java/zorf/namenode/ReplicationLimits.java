package zorf.namenode;

import java.io.IOException;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.hdfs.DFSConfigKeys;

/**
 * How many replicas a client may ask for.
 *
 * @param min at least
 * @param max at most
 */
record ReplicationLimits(int min, int max) {
  static ReplicationLimits of(Configuration configuration) {
    return new ReplicationLimits(
        Math.max(
            1,
            configuration.getInt(
                DFSConfigKeys.DFS_NAMENODE_REPLICATION_MIN_KEY,
                DFSConfigKeys.DFS_NAMENODE_REPLICATION_MIN_DEFAULT)),
        configuration.getInt(
            DFSConfigKeys.DFS_REPLICATION_MAX_KEY, DFSConfigKeys.DFS_REPLICATION_MAX_DEFAULT));
  }

  /** Refuses a replication that no file may have. */
  void check(String src, short replication) throws IOException {
    if (replication > max) {
      throw refused(src, replication, " exceeds maximum of " + max);
    }
    if (replication < min) {
      throw refused(src, replication, " is less than the required minimum of " + min);
    }
  }

  private static IOException refused(String src, short replication, String why) {
    return new IOException("Requested replication factor of " + replication + why + " for " + src);
  }
}
