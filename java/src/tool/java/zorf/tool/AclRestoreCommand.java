package zorf.tool;

import java.util.ArrayList;
import java.util.List;
import org.apache.hadoop.hdfs.server.namenode.ZORFNative;
import org.apache.hadoop.hdfs.server.namenode.zorf.AclEntry;
import org.apache.hadoop.hdfs.server.namenode.zorf.AclFormat;
import org.apache.hadoop.hdfs.server.namenode.zorf.FileStatus;
import org.apache.hadoop.hdfs.server.namenode.zorf.FileType;
import picocli.CommandLine.Command;

@Command(
    name = "restore",
    description = {
      "Gives files the ACLs and the sticky bit of a dump: what \"acl get\" (with --json too) or"
          + " getfacl(1) printed. A default ACL that the dump does not have goes. Owner, group,"
          + " set-user-id and set-group-id can't be set this way: where they are not as in the"
          + " dump, that is reported after the ACL was set."
    },
    footer = {
      "  zorfhadoop acl restore data.acl",
      "  getfacl -R --absolute-names /zorf/data | zorfhadoop acl restore -"
    })
final class AclRestoreCommand extends RestoreCommand {
  @Override
  void restore(Dump dump) {
    String path = dump.path;
    List<AclEntry> entries = entries(dump);
    boolean directory = AclCommand.status(path).type() == FileType.DIRECTORY;
    if (!directory && AclCommand.hasDefault(entries)) {
      throw new Failure(path + AclCommand.NO_DEFAULT);
    }
    ZORFNative.setAcl(path, AclFormat.encodeSpecification(entries));
    if (directory && !AclCommand.hasDefault(entries)) {
      ZORFNative.removeDefaultAcl(path, true);
    }
    FileStatus status = AclCommand.status(path);
    int have = status.permission();
    int want = have & 0777 | Mode.flags(dump.notes.getOrDefault("flags", "---"));
    if (have != want && ((have | want) & Mode.SET_ID) == 0) {
      ZORFNative.setPermission(path, (short) want);
      have = want;
    }
    List<String> left = new ArrayList<>();
    compare("owner", dump, Names.user(status.uid()), status.uid(), left);
    compare("group", dump, Names.group(status.gid()), status.gid(), left);
    if (have != want) {
      left.add("flags " + Mode.flags(want) + " (they are " + Mode.flags(have) + ")");
    }
    if (!left.isEmpty()) {
      throw new Failure(path + ": the ACL is restored, but not " + String.join(", ", left));
    }
  }

  private static List<AclEntry> entries(Dump dump) {
    byte[] text = Bytes.ofLatin(String.join("\n", dump.lines));
    try {
      return AclText.parse(Bytes.utf8(text), true, false);
    } catch (IllegalArgumentException e) {
      throw new Failure(dump.path + ": " + e.getMessage(), e);
    }
  }

  private static void compare(String what, Dump dump, String name, long id, List<String> left) {
    String wanted = dump.notes.getOrDefault(what, name);
    if (!wanted.equals(name) && !wanted.equals(Long.toString(id))) {
      left.add(what + " " + wanted + " (it is " + name + ")");
    }
  }
}
