package zorf.namenode;

import java.io.IOException;
import org.apache.hadoop.fs.XAttr;
import org.apache.hadoop.hdfs.XAttrHelper;
import org.apache.hadoop.hdfs.server.common.HdfsServerConstants;
import org.apache.hadoop.security.AccessControlException;

/**
 * Files that clients have marked so that the superuser gets no blocks of them to read. The mark is an
 * attribute that whoever may write the file can set, so that nobody's rights are needed but the caller's.
 */
final class Unreadable {
  /** What clients call the mark. */
  static final String NAME = HdfsServerConstants.SECURITY_XATTR_UNREADABLE_BY_SUPERUSER;

  /** What it is called in the file system. */
  static final String STORED = "user.hdfs.unreadable.by.superuser";

  private final Root root;
  private final boolean permissions;

  /**
   * Takes what it asks.
   *
   * @param permissions whether there is a superuser at all: else everybody is one
   */
  Unreadable(Root root, boolean permissions) {
    this.root = root;
    this.permissions = permissions;
  }

  /** {@return whether it is the mark} */
  static boolean is(XAttr attribute) {
    return XAttrHelper.getPrefixedName(attribute).equals(NAME);
  }

  /**
   * Refuses what the caller may not read, and the superuser what is marked. Both are one question to the
   * file system, which tells who may read a file what attributes it has, or that it has none.
   */
  void checkReadable(Entry entry) throws IOException {
    boolean marked = root.files().attribute(root.local(entry.path()), STORED).isPresent();
    Caller caller = Caller.current();
    if (marked && permissions && caller.superuser()) {
      throw new AccessControlException(
          "Access is denied for "
              + caller.user()
              + " since the superuser is not allowed to perform this operation.");
    }
  }
}
