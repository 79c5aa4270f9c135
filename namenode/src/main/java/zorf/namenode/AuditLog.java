package zorf.namenode;

import java.io.IOException;
import java.net.InetAddress;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.Map;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FileStatus;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.hdfs.server.namenode.HdfsAudit;
import org.apache.hadoop.hdfs.server.namenode.HdfsAuditLogger;
import org.apache.hadoop.hdfs.server.namenode.zorf.ZorfFiles;
import org.apache.hadoop.ipc.CallerContext;
import org.apache.hadoop.ipc.Server;
import org.apache.hadoop.security.AccessControlException;
import org.apache.hadoop.security.UserGroupInformation;
import org.slf4j.Logger;
import org.slf4j.LoggerFactory;

/**
 * A line for each call that HDFS has a line for, as HDFS has it: of what was done, and of what was
 * refused for want of a right. Calls that fail otherwise have none there either.
 */
final class AuditLog implements CallObserver {
  private static final Logger LOG = LoggerFactory.getLogger(HdfsAudit.LOGGER);

  /** Where a call's paths are among its arguments, and whether the line tells rights. */
  private enum Kind {
    /** No path. */
    HOST,
    /** A path. */
    READ,
    /** A path, and whether it is so is the answer. */
    DONE_OR_NOT,
    /** A path, and the rights that it has after the call. */
    CHANGE,
    /** A path, and another one that has rights after the call. */
    MOVE,
    /** A link's target, and the link. */
    LINK,
    /** The path that is written to, and those that go into it. */
    JOIN,
    /** Many paths, each of which has a line. */
    MANY
  }

  private record Command(String name, Kind kind) {}

  /** What HDFS calls the calls. */
  private static final Map<String, Command> COMMANDS =
      Map.ofEntries(
          command("getBlockLocations", "open", Kind.READ),
          command("getFileInfo", "getfileinfo", Kind.READ),
          command("getFileLinkInfo", "getfileinfo", Kind.READ),
          command("getLocatedFileInfo", "getfileinfo", Kind.READ),
          command("isFileClosed", "isFileClosed", Kind.READ),
          command("getListing", "listStatus", Kind.READ),
          command("getBatchedListing", "listStatus", Kind.MANY),
          command("getContentSummary", "contentSummary", Kind.READ),
          command("getQuotaUsage", "quotaUsage", Kind.READ),
          command("checkAccess", "checkAccess", Kind.READ),
          command("getAclStatus", "getAclStatus", Kind.READ),
          command("getXAttrs", "getXAttrs", Kind.READ),
          command("listXAttrs", "listXAttrs", Kind.READ),
          command("getDatanodeReport", "datanodeReport", Kind.HOST),
          command("create", "create", Kind.CHANGE),
          command("append", "append", Kind.CHANGE),
          command("mkdirs", "mkdirs", Kind.CHANGE),
          command("truncate", "truncate", Kind.CHANGE),
          command("setPermission", "setPermission", Kind.CHANGE),
          command("setOwner", "setOwner", Kind.CHANGE),
          command("setTimes", "setTimes", Kind.CHANGE),
          command("setAcl", "setAcl", Kind.CHANGE),
          command("modifyAclEntries", "modifyAclEntries", Kind.CHANGE),
          command("removeAclEntries", "removeAclEntries", Kind.CHANGE),
          command("removeDefaultAcl", "removeDefaultAcl", Kind.CHANGE),
          command("removeAcl", "removeAcl", Kind.CHANGE),
          command("setXAttr", "setXAttr", Kind.CHANGE),
          command("removeXAttr", "removeXAttr", Kind.CHANGE),
          command("setReplication", "setReplication", Kind.DONE_OR_NOT),
          command("delete", "delete", Kind.DONE_OR_NOT),
          command("rename", "rename", Kind.MOVE),
          command("rename2", "rename", Kind.MOVE),
          command("createSymlink", "createSymlink", Kind.LINK),
          command("concat", "concat", Kind.JOIN));

  private static Map.Entry<String, Command> command(String method, String name, Kind kind) {
    return Map.entry(method, new Command(name, kind));
  }

  private final HdfsAuditLogger log;
  private final ZorfFiles files;
  private final Path root;

  /**
   * Writes to HDFS's own logger, {@value HdfsAudit#LOGGER}.
   *
   * @param configuration Hadoop's
   * @param files tells rights after a change, as the service itself
   * @param root the directory that clients see as "/"
   */
  AuditLog(Configuration configuration, ZorfFiles files, Path root) {
    log = HdfsAudit.create(configuration);
    this.files = files;
    this.root = root;
  }

  @Override
  public void ended(EndedCall call) {
    if (!LOG.isInfoEnabled()) {
      return;
    }
    Command command = COMMANDS.get(call.method());
    boolean refused = call.failure() instanceof AccessControlException;
    if (command == null || (call.failure() != null && !refused)) {
      return;
    }
    Object[] given = call.arguments();
    switch (command.kind()) {
      case HOST -> write(call, command.name(), null, null, null);
      case READ -> write(call, name(command, call), (String) given[0], null, null);
      case DONE_OR_NOT -> write(call, command.name(), (String) given[0], null, null);
      case CHANGE -> write(call, command.name(), (String) given[0], null, (String) given[0]);
      case MOVE ->
          write(call, name(command, call), (String) given[0], (String) given[1], (String) given[1]);
      case LINK ->
          write(call, command.name(), (String) given[1], (String) given[0], (String) given[1]);
      case JOIN ->
          write(
              call,
              command.name(),
              Arrays.toString((String[]) given[1]),
              (String) given[0],
              (String) given[0]);
      case MANY -> {
        for (String path : (String[]) given[0]) {
          write(call, command.name(), path, null, null);
        }
      }
    }
  }

  private static String name(Command command, EndedCall call) {
    return switch (call.method()) {
      case "rename2" -> "rename (options=" + Arrays.toString((Object[]) call.arguments()[2]) + ")";
      case "getLocatedFileInfo" -> (Boolean) call.arguments()[1] ? "open" : command.name();
      default -> command.name();
    };
  }

  private void write(EndedCall call, String name, String source, String target, String changed) {
    boolean done = call.failure() == null && !Boolean.FALSE.equals(call.result());
    boolean question = name.equals("isFileClosed");
    UserGroupInformation user = Server.getRemoteUser();
    InetAddress address = Server.getRemoteIp();
    log.logAuditEvent(
        done || (question && call.failure() == null),
        user == null ? call.caller().user() : user.toString(),
        address,
        name,
        source,
        target,
        done && changed != null ? rightsOf(changed) : null,
        CallerContext.getCurrent(),
        user,
        null);
  }

  /** A status that has nothing but what a line shows; null where the path has gone since. */
  private FileStatus rightsOf(String path) {
    try {
      var status = files.linkStatus(root + path);
      return new FileStatus(
          0,
          false,
          0,
          0,
          0,
          0,
          new FsPermission((short) (status.mode() & 01777)),
          files.userName(status.uid()),
          files.groupName(status.gid()),
          new org.apache.hadoop.fs.Path(path));
    } catch (IOException e) {
      return null;
    }
  }
}
