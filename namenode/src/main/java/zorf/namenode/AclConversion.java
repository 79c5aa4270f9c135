package zorf.namenode;

import java.io.IOException;
import java.nio.file.attribute.UserPrincipalNotFoundException;
import java.util.ArrayList;
import java.util.List;
import org.apache.hadoop.fs.permission.AclEntry;
import org.apache.hadoop.fs.permission.AclEntryScope;
import org.apache.hadoop.fs.permission.AclEntryType;
import org.apache.hadoop.fs.permission.FsAction;
import org.apache.hadoop.hdfs.server.namenode.zorf.AclScope;
import org.apache.hadoop.hdfs.server.namenode.zorf.AclTag;
import org.apache.hadoop.hdfs.server.namenode.zorf.ZorfFiles;

/** Between the ACL entries of HDFS, which have names, and those of the file system, with ids. */
final class AclConversion {
  private final ZorfFiles files;

  AclConversion(ZorfFiles files) {
    this.files = files;
  }

  List<AclEntry> toHdfs(List<org.apache.hadoop.hdfs.server.namenode.zorf.AclEntry> entries)
      throws IOException {
    List<AclEntry> converted = new ArrayList<>();
    for (org.apache.hadoop.hdfs.server.namenode.zorf.AclEntry entry : entries) {
      AclEntry.Builder builder =
          new AclEntry.Builder()
              .setScope(
                  entry.scope() == AclScope.DEFAULT ? AclEntryScope.DEFAULT : AclEntryScope.ACCESS)
              .setType(type(entry.tag()))
              .setPermission(FsAction.values()[entry.permission()]);
      if (entry.tag() == AclTag.USER) {
        builder.setName(files.userName(entry.qualifier()));
      } else if (entry.tag() == AclTag.GROUP) {
        builder.setName(files.groupName(entry.qualifier()));
      }
      converted.add(builder.build());
    }
    return converted;
  }

  private static AclEntryType type(AclTag tag) {
    return switch (tag) {
      case USER_OBJ, USER -> AclEntryType.USER;
      case GROUP_OBJ, GROUP -> AclEntryType.GROUP;
      case MASK -> AclEntryType.MASK;
      case OTHER -> AclEntryType.OTHER;
    };
  }

  List<org.apache.hadoop.hdfs.server.namenode.zorf.AclEntry> toFiles(List<AclEntry> entries)
      throws IOException {
    List<org.apache.hadoop.hdfs.server.namenode.zorf.AclEntry> converted = new ArrayList<>();
    for (AclEntry entry : entries) {
      AclScope scope =
          entry.getScope() == AclEntryScope.DEFAULT ? AclScope.DEFAULT : AclScope.ACCESS;
      int permission = entry.getPermission().ordinal();
      AclTag tag = tag(entry);
      converted.add(
          tag.isQualified()
              ? org.apache.hadoop.hdfs.server.namenode.zorf.AclEntry.of(
                  scope, tag, id(tag, entry.getName()), permission)
              : org.apache.hadoop.hdfs.server.namenode.zorf.AclEntry.of(scope, tag, permission));
    }
    return converted;
  }

  private static AclTag tag(AclEntry entry) {
    boolean named = entry.getName() != null;
    return switch (entry.getType()) {
      case USER -> named ? AclTag.USER : AclTag.USER_OBJ;
      case GROUP -> named ? AclTag.GROUP : AclTag.GROUP_OBJ;
      case MASK -> AclTag.MASK;
      case OTHER -> AclTag.OTHER;
    };
  }

  private long id(AclTag tag, String name) throws IOException {
    try {
      return tag == AclTag.USER ? files.userId(name) : files.groupId(name);
    } catch (UserPrincipalNotFoundException e) {
      if (name.matches("[0-9]{1,9}")) {
        return Long.parseLong(name); // how an id without a name is told
      }
      throw new IOException(
          (tag == AclTag.USER ? "user " : "group ") + name + " is unknown on this host");
    }
  }
}
