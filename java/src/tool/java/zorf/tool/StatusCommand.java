package zorf.tool;

import java.time.Instant;
import java.time.ZoneOffset;
import java.time.format.DateTimeFormatter;
import java.util.List;
import java.util.Locale;
import java.util.concurrent.Callable;
import org.apache.hadoop.hdfs.server.namenode.ZORFNative;
import org.apache.hadoop.hdfs.server.namenode.zorf.AclFormat;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockLocations;
import org.apache.hadoop.hdfs.server.namenode.zorf.FileStatus;
import org.apache.hadoop.hdfs.server.namenode.zorf.FileType;
import picocli.CommandLine.Command;
import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;

@Command(
    name = "status",
    description = {
      "Shows the status of files: type, owner, mode, size and times, whether there is an ACL, and"
          + " for a regular file its HDFS block size and replica count."
    },
    footer = {
      "  zorfhadoop status /zorf/data/events.dat",
      "  zorfhadoop status --no-follow /zorf/data/latest      the link, not its target",
      "  zorfhadoop status --json /zorf/data/* | jq -r .owner",
      "  zorfhadoop status --as alice /zorf/data/events.dat"
    })
final class StatusCommand extends FileCommand {
  static final DateTimeFormatter TIME =
      DateTimeFormatter.ofPattern("uuuu-MM-dd HH:mm:ss.SSSSSSSSS").withZone(ZoneOffset.UTC);

  @Parameters(paramLabel = "PATH", arity = "1..*", description = "What to ask about.")
  private List<String> paths;

  @Option(
      names = {"-P", "--no-follow"},
      description = "Show a symbolic link itself, not what it leads to.")
  private boolean noFollow;

  private boolean began;

  @Override
  int runAsUser() {
    return each(paths, this::show);
  }

  private void show(String path) {
    byte[] record = ZORFNative.getFileStatusNative(path, !noFollow);
    FileStatus status = Library.layout().decode(record);
    byte[] target = status.type() == FileType.SYMBOLIC_LINK ? target(path, status) : null;
    Integer aclEntries =
        status.type() == FileType.SYMBOLIC_LINK
            ? null
            : ifAllowed(() -> AclFormat.decodeReport(ZORFNative.getAclStatus(path, record)).size());
    BlockLocations blocks =
        status.type() == FileType.REGULAR
            ? ifAllowed(() -> Blocks.sizes(path, Blocks.DEFAULT_BLOCK_SIZE, record))
            : null;
    if (json) {
      Output.OUT.println(json(path, status, target, aclEntries, blocks));
      return;
    }
    if (began) {
      Output.OUT.println();
    }
    began = true;
    row("path", path + arrow(target));
    row("type", status.type().name().toLowerCase(Locale.ROOT).replace('_', ' '));
    row("mode", status.permissionOctal() + " " + status.permissionText());
    row("owner", named(Names.user(status.uid()), status.uid()));
    row("group", named(Names.group(status.gid()), status.gid()));
    row("ACL", acl(status, aclEntries));
    row("size", size(status.size()));
    row("inode", Long.toUnsignedString(status.inode()));
    if (status.type() == FileType.REGULAR) {
      row("HDFS block", blocks == null ? "unknown" : Sizes.human(blocks.blockSize()));
      row("replicas", blocks == null ? "unknown" : Integer.toString(blocks.replicaCount()));
    }
    row("accessed", time(status.accessTime()));
    row("modified", time(status.modificationTime()));
    row("changed", time(status.changeTime()));
  }

  /** The size of a link is the length of its target. */
  static byte[] target(String path, FileStatus status) {
    int length = (int) Math.min(Math.max(status.size(), 1), 1 << 20);
    return ZORFNative.getLinkTargetNative(path, length);
  }

  /** Where a link leads, after its name; nothing if there is no target. */
  static String arrow(byte[] target) {
    return target == null ? "" : " -> " + Bytes.escape(target, "\\", "");
  }

  static void putTarget(Json json, byte[] target) {
    if (target != null) {
      json.put("target", Bytes.utf8(target));
      if (AttributeValue.text(target) == null) {
        json.put("targetHex", AttributeValue.format(target, AttributeValue.Encoding.hex));
      }
    }
  }

  /** A further fact about a file that is shown anyhow, null where it can't be had. */
  private static <T> T ifAllowed(Callable<T> question) {
    try {
      return question.call();
    } catch (Exception e) {
      return null;
    }
  }

  private static String acl(FileStatus status, Integer entries) {
    if (entries == null) {
      return status.type() == FileType.SYMBOLIC_LINK ? "none" : "unknown";
    }
    // Three entries are the mode in other words.
    return entries > 3 ? entries + " entries" : "none";
  }

  private static String named(String name, long id) {
    return name + (name.equals(Long.toString(id)) ? "" : " (" + id + ")");
  }

  private static String size(long size) {
    return size < 1024
        ? Sizes.count(size, "byte")
        : Sizes.count(size, "byte") + " (" + Sizes.human(size) + ")";
  }

  private static String time(Instant time) {
    return TIME.format(time) + " UTC";
  }

  private static void row(String name, String value) {
    Output.OUT.printf("%-11s %s%n", name, Output.printable(value));
  }

  private static Json json(
      String path, FileStatus status, byte[] target, Integer aclEntries, BlockLocations blocks) {
    Json json = new Json().object().put("path", path);
    putStatus(json, status);
    putTarget(json, target);
    if (aclEntries != null) {
      json.put("acl", aclEntries > 3);
    }
    if (blocks != null) {
      json.put("blockSize", blocks.blockSize()).put("replicas", blocks.replicaCount());
    }
    return json.end();
  }

  static void putStatus(Json json, FileStatus status) {
    json.put("type", status.type().name().toLowerCase(Locale.ROOT))
        .put("mode", status.permissionOctal())
        .put("owner", Names.user(status.uid()))
        .put("uid", status.uid())
        .put("group", Names.group(status.gid()))
        .put("gid", status.gid())
        .put("size", status.size())
        .put("inode", status.inode())
        .put("accessed", status.accessTime().toString())
        .put("modified", status.modificationTime().toString())
        .put("changed", status.changeTime().toString());
  }
}
