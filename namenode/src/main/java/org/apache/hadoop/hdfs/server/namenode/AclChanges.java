package org.apache.hadoop.hdfs.server.namenode;

import java.util.ArrayList;
import java.util.List;
import org.apache.hadoop.fs.permission.AclEntry;
import org.apache.hadoop.hdfs.protocol.AclException;

/**
 * What HDFS makes of a change of an ACL: masks, limits and texts are those of its own class, which
 * can be called from this package only.
 */
public final class AclChanges {
  private AclChanges() {}

  /**
   * Adds entries, or gives those that are there new permissions.
   *
   * @param existing the whole ACL
   * @param changes the entries
   * @return the whole ACL then
   * @throws AclException if there can be no such ACL
   */
  public static List<AclEntry> merge(List<AclEntry> existing, List<AclEntry> changes)
      throws AclException {
    return AclTransformation.mergeAclEntries(existing, changes);
  }

  /**
   * Replaces the ACL of each scope that there are entries for.
   *
   * @param existing the whole ACL
   * @param changes the entries
   * @return the whole ACL then
   * @throws AclException if there can be no such ACL
   */
  public static List<AclEntry> replace(List<AclEntry> existing, List<AclEntry> changes)
      throws AclException {
    return AclTransformation.replaceAclEntries(existing, changes);
  }

  /**
   * Removes entries.
   *
   * @param existing the whole ACL
   * @param changes the entries
   * @return the whole ACL then
   * @throws AclException if there can be no such ACL
   */
  public static List<AclEntry> remove(List<AclEntry> existing, List<AclEntry> changes)
      throws AclException {
    return AclTransformation.filterAclEntriesByAclSpec(existing, changes);
  }

  /**
   * Removes the default ACL.
   *
   * @param existing the whole ACL
   * @return the whole ACL then
   * @throws AclException if there can be no such ACL
   */
  public static List<AclEntry> removeDefault(List<AclEntry> existing) throws AclException {
    return AclTransformation.filterDefaultAclEntries(existing);
  }

  /**
   * Puts entries into the order of HDFS.
   *
   * @param entries the entries
   * @return the same in their order
   */
  public static List<AclEntry> sorted(List<AclEntry> entries) {
    List<AclEntry> sorted = new ArrayList<>(entries);
    sorted.sort(AclTransformation.ACL_ENTRY_COMPARATOR);
    return sorted;
  }
}
