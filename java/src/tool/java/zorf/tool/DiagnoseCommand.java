package zorf.tool;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.AccessDeniedException;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.util.List;
import java.util.stream.Collectors;
import org.apache.hadoop.hdfs.server.namenode.ZORFNative;
import org.apache.hadoop.hdfs.server.namenode.zorf.AclEntry;
import org.apache.hadoop.hdfs.server.namenode.zorf.AclScope;
import org.apache.hadoop.hdfs.server.namenode.zorf.AclTag;
import org.apache.hadoop.hdfs.server.namenode.zorf.FileStatus;
import org.apache.hadoop.hdfs.server.namenode.zorf.FileType;
import picocli.CommandLine.Command;
import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;
import zorf.tool.Diagnosis.Component;

@Command(
    name = "diagnose",
    description = {
      "Tells why a user can't reach a path: which component stops the user, and the owner, mode and"
          + " ACL of each from there on. The same diagnosis goes to a NameNode's log at debug."
    },
    exitCodeList = {
      "0:the user reaches the path",
      "1:the user does not, or the diagnosis failed",
      "2:wrong command line"
    },
    footer = {
      "  zorfhadoop diagnose /zorf/data/private/key --as alice",
      "  zorfhadoop diagnose --json /zorf/data/private/key --as 1001"
    })
final class DiagnoseCommand extends FileCommand {
  @Parameters(paramLabel = "PATH", description = "What can't be reached.")
  private String given;

  private String path;
  private Identity who;
  private String name;
  private Exception problem;
  private Diagnosis diagnosis;
  /** The component that stops the user, and where it leads if it is a link. */
  private String culprit = "";

  private String link;

  @Override
  void prepare() {
    // The diagnosis goes to the log, at debug only.
    ToolLog.keepLines();
    path = Paths.get(given).toAbsolutePath().toString();
  }

  @Override
  int runAsUser() throws IOException {
    who = Identity.current();
    name = Names.user(who.uid());
    FileStatus status = null;
    try {
      status = Library.layout().decode(ZORFNative.getFileStatusNative(path, true));
    } catch (Exception e) {
      problem = e;
    }
    ToolLog.take();
    String reached =
        new String(ZORFNative.getFailedPathNative(path, true), StandardCharsets.UTF_8);
    diagnosis = Diagnosis.parse(path, ToolLog.take());
    String verdict = problem == null ? reachable(status) : blocked(reached);
    if (json) {
      Output.OUT.println(json(reached, verdict));
    } else {
      Output.OUT.println(Output.printable(verdict));
      if (!diagnosis.components().isEmpty()) {
        Output.OUT.println();
        table().print(Output.OUT);
      }
    }
    return problem == null ? OK : FAILED;
  }

  private String reachable(FileStatus status) {
    String verdict = name + " reaches " + path;
    // Opening anything else than these might wait or do something.
    if (status.type() != FileType.REGULAR && status.type() != FileType.DIRECTORY) {
      return verdict;
    }
    try {
      ZORFNative.getBlockSizeNative(path, null);
      return verdict + " and may read it";
    } catch (Exception e) {
      if (e instanceof AccessDeniedException) {
        List<Component> components = diagnosis.components();
        String why =
            components.isEmpty()
                ? ""
                : " (" + Access.of(who, components.get(components.size() - 1)).reason() + ")";
        return verdict + " but may not read it" + why;
      }
      return verdict + " but can't read it: " + Failure.systemText(e);
    }
  }

  /** The component right below the deepest one that is reached. */
  private String below(String reached) {
    String top = reached.equals("/") ? "" : reached;
    int end = path.indexOf('/', top.length() + 1);
    return end < 0 ? path : path.substring(0, end);
  }

  private String blocked(String reached) {
    if (reached.equals(path)) {
      return name + " reaches " + path + " now, but did not a moment ago: "
          + Failure.systemText(problem);
    }
    String below = below(reached);
    culprit = reached;
    Component last = find(reached);
    if (last != null && last.type() != FileType.DIRECTORY) {
      return name + " can't reach " + path + ": " + reached + " is not a directory";
    }
    link = target(below);
    if (link != null) {
      culprit = below;
      String rest = path.substring(below.length());
      Path beyond = Paths.get(below).resolveSibling(link);
      return name + " can't follow " + below + " to " + link + ": " + Failure.systemText(problem)
          + "; see: zorfhadoop diagnose " + beyond + rest + (user == null ? "" : " --as " + user);
    }
    Component next = find(below);
    if (problem instanceof AccessDeniedException) {
      String why = last == null ? "" : reason(last);
      return name + " is stopped at " + reached + ": may not enter it" + why;
    }
    culprit = below;
    if (next != null && next.missing()) {
      return name + " can't reach " + path + ": " + below + " does not exist";
    }
    return name + " can't reach " + path + ": " + Failure.systemText(problem);
  }

  private String reason(Component directory) {
    Access access = Access.of(who, directory);
    return (access.permission() & AclEntry.EXECUTE) != 0
        ? ""
        : ", for " + access.reason() + " does not grant x";
  }

  /** Where a component leads that is a symbolic link, else null. */
  private static String target(String component) {
    try {
      FileStatus status =
          Library.layout().decode(ZORFNative.getFileStatusNative(component, false));
      return status.type() == FileType.SYMBOLIC_LINK
          ? Bytes.utf8(StatusCommand.target(component, status))
          : null;
    } catch (Exception e) {
      return null;
    }
  }

  private Component find(String component) {
    for (Component candidate : diagnosis.components()) {
      if (candidate.path.equals(component)) {
        return candidate;
      }
    }
    return null;
  }

  private Table table() {
    Table table = new Table("", "component", "mode", "owner", "group", "ACL", name + " may");
    for (Component component : diagnosis.components()) {
      boolean stop = component.path.equals(culprit);
      String at = Output.printable(component.path);
      if (stop && link != null) {
        table.row(">", at, "link", "", "", "", "");
      } else if (component.described()) {
        table.row(
            stop ? ">" : "",
            at,
            component.type().symbol() + modeText(component),
            component.user,
            component.group,
            extended(component),
            AclText.bits(Access.of(who, component).permission()));
      } else {
        String fate = component.missing() ? "missing" : "?";
        table.row(stop ? ">" : "", at, fate, "", "", "", "");
      }
    }
    return table;
  }

  private static String modeText(Component component) {
    return AclText.bits(component.mode >> 6 & 7)
        + AclText.bits(component.mode >> 3 & 7)
        + AclText.bits(component.mode & 7)
        + String.format(" %04o", component.mode & 07777);
  }

  /** What an access ACL says beyond the mode. */
  private static String extended(Component component) {
    if (component.aclError != 0) {
      return "unknown";
    }
    String text =
        component.acl.stream()
            .filter(entry -> entry.scope() == AclScope.ACCESS)
            .filter(entry -> entry.tag().isQualified() || entry.tag() == AclTag.MASK)
            .map(entry -> AclText.format(entry, false))
            .collect(Collectors.joining(","));
    return text.isEmpty() ? "none" : text;
  }

  private Json json(String reached, String verdict) {
    Json object =
        new Json()
            .object()
            .put("path", path)
            .put("user", name)
            .put("reached", problem == null)
            .put("deepest", reached)
            .put("verdict", verdict);
    object.key("components").array();
    for (Component component : diagnosis.components()) {
      object.object().put("path", component.path).put("exists", !component.missing());
      if (component.described()) {
        object
            .put("inode", component.inode)
            .put("mode", String.format("%04o", component.mode & 07777))
            .put("owner", component.user)
            .put("group", component.group);
        object.key("acl").array();
        component.acl.forEach(entry -> object.value(AclText.format(entry, false)));
        object.end().put("may", AclText.bits(Access.of(who, component).permission()));
      }
      object.end();
    }
    return object.end().end();
  }
}
