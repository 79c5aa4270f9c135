package zorf.namenode;

import java.util.concurrent.TimeUnit;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.CommonConfigurationKeys;
import org.apache.hadoop.fs.CommonConfigurationKeysPublic;
import org.apache.hadoop.fs.FsServerDefaults;
import org.apache.hadoop.hdfs.DFSConfigKeys;
import org.apache.hadoop.hdfs.client.HdfsClientConfigKeys;
import org.apache.hadoop.util.DataChecksum;

/**
 * What the command line and Hadoop's configuration say, together.
 *
 * @param superuser who may do anything, and whose threads stay what the process is
 * @param supergroup whose members may do anything, too
 * @param permissions whether others may not
 * @param handlers how many threads serve clients
 * @param listLimit how many entries a page of a listing has
 * @param maxAttributes how many extended attributes a file may have
 * @param maxAttributeSize how many bytes one may have, with its name
 * @param inheritance whether what a default ACL says of new files comes before the client's mask
 * @param minBlockSize the smallest block size that a client may ask for
 * @param replication how many replicas a client may ask for
 * @param tokenMillis how long a block token is good
 * @param pool the id of the block pool
 * @param defaults what clients do if not told otherwise
 */
record Settings(
    String superuser,
    String supergroup,
    boolean permissions,
    int handlers,
    int listLimit,
    int maxAttributes,
    int maxAttributeSize,
    boolean inheritance,
    long minBlockSize,
    ReplicationLimits replication,
    long tokenMillis,
    String pool,
    FsServerDefaults defaults) {
  private static final String POOL_KEY = "zorf.namenode.block.pool.id";

  static Settings of(Options options, Configuration configuration) {
    // Without end otherwise: a name service that hangs would hold the threads that serve everybody.
    String groupsKey = CommonConfigurationKeys.HADOOP_SECURITY_GROUP_SHELL_COMMAND_TIMEOUT_KEY;
    if (configuration.getTimeDuration(groupsKey, 0, TimeUnit.SECONDS) == 0) {
      configuration.setTimeDuration(groupsKey, 10, TimeUnit.SECONDS);
    }
    return new Settings(
        options.superuser() != null ? options.superuser() : System.getProperty("user.name"),
        configuration.get(
            DFSConfigKeys.DFS_PERMISSIONS_SUPERUSERGROUP_KEY,
            DFSConfigKeys.DFS_PERMISSIONS_SUPERUSERGROUP_DEFAULT),
        configuration.getBoolean(
            DFSConfigKeys.DFS_PERMISSIONS_ENABLED_KEY,
            DFSConfigKeys.DFS_PERMISSIONS_ENABLED_DEFAULT),
        configuration.getInt(
            DFSConfigKeys.DFS_NAMENODE_HANDLER_COUNT_KEY,
            DFSConfigKeys.DFS_NAMENODE_HANDLER_COUNT_DEFAULT),
        Math.max(
            1,
            configuration.getInt(
                DFSConfigKeys.DFS_LIST_LIMIT, DFSConfigKeys.DFS_LIST_LIMIT_DEFAULT)),
        configuration.getInt(
            DFSConfigKeys.DFS_NAMENODE_MAX_XATTRS_PER_INODE_KEY,
            DFSConfigKeys.DFS_NAMENODE_MAX_XATTRS_PER_INODE_DEFAULT),
        configuration.getInt(
            DFSConfigKeys.DFS_NAMENODE_MAX_XATTR_SIZE_KEY,
            DFSConfigKeys.DFS_NAMENODE_MAX_XATTR_SIZE_DEFAULT),
        configuration.getBoolean(
            DFSConfigKeys.DFS_NAMENODE_POSIX_ACL_INHERITANCE_ENABLED_KEY,
            DFSConfigKeys.DFS_NAMENODE_POSIX_ACL_INHERITANCE_ENABLED_DEFAULT),
        configuration.getLongBytes(
            DFSConfigKeys.DFS_NAMENODE_MIN_BLOCK_SIZE_KEY,
            DFSConfigKeys.DFS_NAMENODE_MIN_BLOCK_SIZE_DEFAULT),
        ReplicationLimits.of(configuration),
        TimeUnit.MINUTES.toMillis(
            configuration.getLong(
                DFSConfigKeys.DFS_BLOCK_ACCESS_TOKEN_LIFETIME_KEY,
                DFSConfigKeys.DFS_BLOCK_ACCESS_TOKEN_LIFETIME_DEFAULT)),
        configuration.get(POOL_KEY, "BP-zorf-1"),
        defaults(options, configuration));
  }

  private static FsServerDefaults defaults(Options options, Configuration configuration) {
    return new FsServerDefaults(
        options.blockSize(),
        configuration.getInt(
            DFSConfigKeys.DFS_BYTES_PER_CHECKSUM_KEY,
            DFSConfigKeys.DFS_BYTES_PER_CHECKSUM_DEFAULT),
        configuration.getInt(
            HdfsClientConfigKeys.DFS_CLIENT_WRITE_PACKET_SIZE_KEY,
            HdfsClientConfigKeys.DFS_CLIENT_WRITE_PACKET_SIZE_DEFAULT),
        (short)
            configuration.getInt(
                DFSConfigKeys.DFS_REPLICATION_KEY, DFSConfigKeys.DFS_REPLICATION_DEFAULT),
        configuration.getInt(
            CommonConfigurationKeysPublic.IO_FILE_BUFFER_SIZE_KEY,
            CommonConfigurationKeysPublic.IO_FILE_BUFFER_SIZE_DEFAULT),
        false,
        configuration.getLong(
            CommonConfigurationKeysPublic.FS_TRASH_INTERVAL_KEY,
            CommonConfigurationKeysPublic.FS_TRASH_INTERVAL_DEFAULT),
        DataChecksum.Type.CRC32C,
        "");
  }
}
