package zorf.namenode;

import org.apache.hadoop.fs.FsServerDefaults;
import org.apache.hadoop.ha.HAServiceProtocol;

/** Answers what the service itself is and does if not told otherwise. */
final class ServerAnswers {
  private final FsServerDefaults defaults;

  ServerAnswers(FsServerDefaults defaults) {
    this.defaults = defaults;
  }

  @ActsAs(ActsAs.Who.SERVICE)
  FsServerDefaults getServerDefaults() {
    return defaults;
  }

  @ActsAs(ActsAs.Who.SERVICE)
  HAServiceProtocol.HAServiceState getHAServiceState() {
    return HAServiceProtocol.HAServiceState.ACTIVE;
  }

  @ActsAs(ActsAs.Who.SERVICE)
  void msync() {
    // There is no other NameNode whose state could be older.
  }
}
