package zorf.tool;

import java.util.ArrayList;
import java.util.Collections;
import java.util.List;
import java.util.Locale;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import org.apache.hadoop.hdfs.server.namenode.zorf.AclEntry;
import org.apache.hadoop.hdfs.server.namenode.zorf.AclScope;
import org.apache.hadoop.hdfs.server.namenode.zorf.AclTag;
import org.apache.hadoop.hdfs.server.namenode.zorf.FileType;

/**
 * What the library's failed-path diagnosis wrote to the debug log, read back: the components of a
 * path from the deepest one that the user reaches down to the path itself.
 */
final class Diagnosis {
  private static final Pattern RECORD =
      Pattern.compile(
          " ino:(\\d+) u:(\\d+):(.*?) g:(\\d+):(.*?) m:([0-7]+) ctime: [^\n]*(\n.*)?",
          Pattern.DOTALL);
  private static final int ENOENT = 2;
  private static final int ENOTDIR = 20;
  private static final int EOPNOTSUPP = 95;

  /** One component of the path. */
  static final class Component {
    final String path;
    final long inode;
    final long uid;
    final String user;
    final long gid;
    final String group;
    final int mode;
    /** Access entries, then default entries; empty if they could not be read. */
    final List<AclEntry> acl;
    /** Why the ACL could not be read, 0 if it could. */
    final int aclError;

    private Component(String path, Matcher record) {
      this.path = path;
      inode = Long.parseUnsignedLong(record.group(1));
      uid = Long.parseLong(record.group(2));
      user = record.group(3);
      gid = Long.parseLong(record.group(4));
      group = record.group(5);
      mode = Integer.parseInt(record.group(6), 8);
      String rest = record.group(7) == null ? "" : record.group(7);
      Matcher error = Pattern.compile("\nACL error:(\\d+) ").matcher(rest);
      aclError = error.find() ? Integer.parseInt(error.group(1)) : 0;
      acl = aclError == 0 ? entries(path, rest) : Collections.emptyList();
    }

    boolean missing() {
      return aclError == ENOENT || aclError == ENOTDIR;
    }

    /** False where even the super-user got nothing, and the record is that of another component. */
    boolean described() {
      return aclError == 0 || aclError == EOPNOTSUPP;
    }

    FileType type() {
      return FileType.ofMode(mode);
    }
  }

  private final List<Component> components = new ArrayList<>();

  /** Reads the log lines of one diagnosis of a path, which is absolute and has no needless "/". */
  static Diagnosis parse(String path, List<String> lines) {
    Diagnosis diagnosis = new Diagnosis();
    List<String> climb = new ArrayList<>();
    for (String at = path; at.length() > 1; at = parent(at)) {
      climb.add(at);
    }
    for (String line : lines) {
      // The first walk ends with the component that is reached; the second has those below it.
      if (line.contains("getFailedPathInt")) {
        diagnosis.read(climb, line);
      }
    }
    diagnosis.components.sort(
        (one, other) -> Integer.compare(one.path.length(), other.path.length()));
    return diagnosis;
  }

  private void read(List<String> climb, String line) {
    int from = 0;
    for (int i = 0; i < climb.size(); i++) {
      int start = line.indexOf("\n@" + climb.get(i) + " ino:", from);
      if (start < 0) {
        continue;
      }
      int body = start + 2 + climb.get(i).length();
      int end = line.indexOf("\n@@@fails @", body);
      for (int j = i + 1; j < climb.size(); j++) {
        int next = line.indexOf("\n@" + climb.get(j) + " ino:", body);
        end = next >= 0 && (end < 0 || next < end) ? next : end;
      }
      Matcher record = RECORD.matcher(line.substring(body, end < 0 ? line.length() : end));
      if (record.matches()) {
        components.add(new Component(climb.get(i), record));
      }
      from = body;
    }
  }

  private static String parent(String path) {
    return path.substring(0, Math.max(0, path.lastIndexOf('/')));
  }

  private static List<AclEntry> entries(String path, String text) {
    List<AclEntry> entries = new ArrayList<>();
    for (String acl : text.split("\nACLs: ")) {
      // The ACL starts with its path, which may hold anything.
      String body = acl.startsWith(path) ? acl.substring(path.length()) : acl;
      for (String line : body.split("\n")) {
        boolean inherited = line.startsWith("default:");
        String[] fields = (inherited ? line.substring(8) : line).split(":", -1);
        if (fields.length == 3) {
          entries.add(entry(inherited ? AclScope.DEFAULT : AclScope.ACCESS, fields));
        }
      }
    }
    return Collections.unmodifiableList(entries);
  }

  private static AclEntry entry(AclScope scope, String[] fields) {
    int permission =
        (fields[2].contains("r") ? AclEntry.READ : 0)
            | (fields[2].contains("w") ? AclEntry.WRITE : 0)
            | (fields[2].contains("x") ? AclEntry.EXECUTE : 0);
    AclTag tag = AclTag.valueOf(fields[0].toUpperCase(Locale.ROOT));
    return tag.isQualified()
        ? AclEntry.of(scope, tag, id(fields[1]), permission)
        : AclEntry.of(scope, tag, permission);
  }

  /** Ids are logged signed, and root's not at all. */
  private static long id(String text) {
    return text.isEmpty() ? 0 : Integer.toUnsignedLong((int) Long.parseLong(text));
  }

  /** Top down; none if not even the first component was reached. */
  List<Component> components() {
    return Collections.unmodifiableList(components);
  }
}
