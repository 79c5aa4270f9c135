package org.apache.hadoop.hdfs.server.namenode;

import org.apache.hadoop.conf.Configuration;

/** Lends out the audit log of Apache's NameNode, which only its own package may make. */
public final class HdfsAudit {
  /** The name of its logger. */
  public static final String LOGGER =
      "org.apache.hadoop.hdfs.server.namenode.FSNamesystem.audit";

  private HdfsAudit() {}

  /**
   * Makes the log that writes lines in HDFS's format.
   *
   * @param configuration has Hadoop's own keys for it, such as {@code
   *     dfs.namenode.audit.log.debug.cmdlist}
   * @return the log
   */
  public static HdfsAuditLogger create(Configuration configuration) {
    HdfsAuditLogger log = new FSNamesystem.FSNamesystemAuditLogger();
    log.initialize(configuration);
    return log;
  }
}
