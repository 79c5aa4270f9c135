package zorf.tool;

import java.util.ArrayList;
import java.util.List;
import java.util.function.LongFunction;
import org.apache.hadoop.hdfs.server.namenode.zorf.AclEntry;
import org.apache.hadoop.hdfs.server.namenode.zorf.AclScope;
import org.apache.hadoop.hdfs.server.namenode.zorf.AclTag;

/** ACLs in the text form of setfacl(1) and getfacl(1), with names. */
final class AclText {
  private AclText() {}

  /**
   * Reads entries that are separated by commas or line ends: "u:alice:rwx,d:g:staff:rx". What
   * follows a "#" on a line is a comment, so that the output of "acl get" can be read.
   *
   * @param permissions whether entries have permissions; entries that are to be removed need none
   * @param executable whether "X" stands for "x", else for nothing
   */
  static List<AclEntry> parse(String text, boolean permissions, boolean executable) {
    List<AclEntry> entries = new ArrayList<>();
    for (String line : text.split("\n")) {
      for (String piece : line.replaceFirst("#.*", "").split(",")) {
        if (!piece.trim().isEmpty()) {
          entries.add(entry(piece.trim(), permissions, executable));
        }
      }
    }
    if (entries.isEmpty()) {
      throw new IllegalArgumentException("there is no ACL entry in '" + text.trim() + "'");
    }
    return entries;
  }

  private static AclEntry entry(String piece, boolean permissions, boolean executable) {
    String[] all = piece.split(":", -1);
    String scope = "";
    int from = 0;
    if (all.length > 1 && (all[0].equals("d") || all[0].equals("default"))) {
      scope = "default:";
      from = 1;
    }
    String tag = all[from];
    int fields = all.length - from;
    boolean unnamed = tag.matches("m(ask)?|o(ther)?");
    String name = fields > 1 ? all[from + 1] : "";
    String permission = fields > 2 ? all[from + 2] : "";
    // As setfacl takes it: "o:rx" for "o::rx".
    if (unnamed && fields == 2) {
      permission = name;
      name = "";
    }
    if (permission.isEmpty() && !permissions) {
      permission = "---";
    }
    if (fields > 3 || permission.isEmpty()) {
      throw new IllegalArgumentException(
          "'" + piece + "' is no ACL entry"
              + (permissions ? " (such as user:alice:rw-)" : " (such as user:alice)"));
    }
    try {
      return AclEntry.parse(
          scope + tag + ":" + (name.isEmpty() ? "" : id(tag, name)) + ":"
              + permission.replace('X', executable ? 'x' : '-'));
    } catch (IllegalArgumentException e) {
      throw new IllegalArgumentException("'" + piece + "': " + e.getMessage(), e);
    }
  }

  private static long id(String tag, String name) {
    return tag.equals("g") || tag.equals("group") ? Names.gid(name) : Names.uid(name);
  }

  /** One entry with names, or with numbers as they are. */
  static String format(AclEntry entry, boolean numeric) {
    String text = entry.toString();
    if (numeric || !entry.tag().isQualified()) {
      return text;
    }
    LongFunction<String> names = entry.tag() == AclTag.USER ? Names::user : Names::group;
    String name = names.apply(entry.qualifier());
    return text.replace(":" + entry.qualifier() + ":", ":" + name + ":");
  }

  /** What getfacl(1) adds to an entry that the mask cuts, else nothing. */
  static String effective(AclEntry entry, List<AclEntry> acl) {
    boolean masked = entry.tag().isQualified() || entry.tag() == AclTag.GROUP_OBJ;
    int mask = masked ? mask(acl, entry.scope()) : 7;
    int left = entry.permission() & mask;
    return left == entry.permission() ? "" : "#effective:" + bits(left);
  }

  private static int mask(List<AclEntry> acl, AclScope scope) {
    for (AclEntry entry : acl) {
      if (entry.scope() == scope && entry.tag() == AclTag.MASK) {
        return entry.permission();
      }
    }
    return 7;
  }

  /** Such as "r-x". */
  static String bits(int permission) {
    return ((permission & AclEntry.READ) != 0 ? "r" : "-")
        + ((permission & AclEntry.WRITE) != 0 ? "w" : "-")
        + ((permission & AclEntry.EXECUTE) != 0 ? "x" : "-");
  }
}
