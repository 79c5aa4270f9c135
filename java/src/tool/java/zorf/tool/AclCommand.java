package zorf.tool;

import java.io.IOException;
import java.util.List;
import java.util.stream.Collectors;
import org.apache.hadoop.hdfs.server.namenode.ZORFNative;
import org.apache.hadoop.hdfs.server.namenode.zorf.AclEntry;
import org.apache.hadoop.hdfs.server.namenode.zorf.AclFormat;
import org.apache.hadoop.hdfs.server.namenode.zorf.AclScope;
import org.apache.hadoop.hdfs.server.namenode.zorf.FileStatus;
import org.apache.hadoop.hdfs.server.namenode.zorf.FileType;
import picocli.CommandLine.Command;
import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;

@Command(
    name = "acl",
    description = "Shows and changes POSIX ACLs, in the text form of setfacl(1).",
    synopsisSubcommandLabel = "COMMAND",
    subcommands = {
      AclCommand.Get.class,
      AclCommand.Set.class,
      AclCommand.Modify.class,
      AclCommand.Remove.class,
      AclCommand.RemoveDefault.class,
      AclRestoreCommand.class
    },
    footer = {
      "  zorfhadoop acl get /zorf/data",
      "  zorfhadoop acl modify user:alice:rx,default:group:staff:rx /zorf/data"
    })
final class AclCommand extends GroupCommand {
  private static final String ENTRIES =
      "Entries such as user:alice:rw-, group:1001:rX, mask::r, other::- with \"default:\" before"
          + " those of a directory's default ACL, separated by commas; the words may be cut to"
          + " one letter. X is x for directories and for files that somebody may execute. \"-\" reads"
          + " the entries from stdin, as \"acl get\" prints them.";

  static final String NO_DEFAULT = ": only directories have a default ACL";

  static FileStatus status(String path) {
    return Library.layout().decode(ZORFNative.getFileStatusNative(path, true));
  }

  static boolean hasDefault(List<AclEntry> entries) {
    return entries.stream().anyMatch(entry -> entry.scope() == AclScope.DEFAULT);
  }

  @Command(
      name = "get",
      description = {
        "Shows ACLs as getfacl(1) does. A file without one has the three entries of its mode. What"
            + " it prints is a dump: \"acl restore\" and \"setfacl --restore\" take it back."
      },
      footer = {
        "  zorfhadoop acl get /zorf/data",
        "  zorfhadoop acl get --numeric --as alice /zorf/data",
        "  zorfhadoop acl get /zorf/a | zorfhadoop acl set - /zorf/b      copy an ACL",
        "  zorfhadoop acl get -R /zorf/data >data.acl"
      })
  static final class Get extends TreeCommand {
    @Parameters(paramLabel = "PATH", arity = "1..*", description = "Whose ACL to show.")
    private List<String> paths;

    @Option(
        names = {"-n", "--numeric"},
        description = "Show ids instead of names.")
    private boolean numeric;

    private boolean began;

    @Override
    int runAsUser() {
      return each(paths, this::show);
    }

    private void show(String path) {
      byte[] record = ZORFNative.getFileStatusNative(path, true);
      List<AclEntry> acl = AclFormat.decodeReport(ZORFNative.getAclStatus(path, record));
      FileStatus status = Library.layout().decode(record);
      String owner = numeric ? Long.toString(status.uid()) : Names.user(status.uid());
      String group = numeric ? Long.toString(status.gid()) : Names.group(status.gid());
      String flags = Mode.flags(status.permission());
      if (json) {
        Json object = new Json().object().put("path", path).put("owner", owner).put("group", group);
        object.put("flags", flags).key("entries").array();
        acl.forEach(entry -> object.value(AclText.format(entry, numeric)));
        Output.OUT.println(object.end().end());
        return;
      }
      if (began) {
        Output.OUT.println();
      }
      began = true;
      Output.OUT.println("# file: " + Bytes.escape(Bytes.utf8(path), "\\", ""));
      Output.OUT.println("# owner: " + owner);
      Output.OUT.println("# group: " + group);
      if (!flags.equals("---")) {
        Output.OUT.println("# flags: " + flags);
      }
      for (AclEntry entry : acl) {
        String text = AclText.format(entry, numeric);
        String effective = AclText.effective(entry, acl);
        Output.OUT.println(
            effective.isEmpty() ? text : String.format("%-31s %s", text, effective));
      }
    }
  }

  /** A command that changes ACLs, mostly by entries. */
  abstract static class Change extends TreeCommand {
    /** Where "X" is "x", and where it is nothing. */
    private List<AclEntry> forExecutables;

    private List<AclEntry> forOthers;

    /** The entries' text, null if there is none. */
    abstract String entries();

    abstract List<String> paths();

    abstract void change(String path, boolean directory, byte[] specification);

    /** Whether entries have permissions. */
    boolean permissions() {
      return true;
    }

    @Override
    void prepare() throws IOException {
      if (entries() == null) {
        return;
      }
      String text = entries().equals("-") ? Bytes.utf8(Bytes.of("-")) : entries();
      Library.load();
      try {
        forExecutables = AclText.parse(text, permissions(), true);
        forOthers = AclText.parse(text, permissions(), false);
      } catch (IllegalArgumentException e) {
        throw misuse(e.getMessage());
      }
    }

    @Override
    final int runAsUser() {
      return change(paths(), this::change);
    }

    private void change(String path) {
      FileStatus status = status(path);
      boolean directory = status.type() == FileType.DIRECTORY;
      if (entries() == null) {
        change(path, directory, null);
        return;
      }
      boolean executable = directory || (status.permission() & 0111) != 0;
      List<AclEntry> entries = executable ? forExecutables : forOthers;
      if (!directory && hasDefault(entries)) {
        if (!recursive) {
          throw new Failure(path + NO_DEFAULT);
        }
        // As setfacl(1) does: the default entries are for the directories of the tree.
        entries =
            entries.stream()
                .filter(entry -> entry.scope() == AclScope.ACCESS)
                .collect(Collectors.toList());
      }
      if (!entries.isEmpty()) {
        change(path, directory, AclFormat.encodeSpecification(entries));
      }
    }
  }

  /** A command that needs entries. */
  abstract static class Given extends Change {
    @Parameters(index = "0", paramLabel = "ENTRIES", description = ENTRIES)
    private String entries;

    @Parameters(
        index = "1..*",
        paramLabel = "PATH",
        arity = "1..*",
        description = "What to change.")
    private List<String> paths;

    @Override
    final String entries() {
      return entries;
    }

    @Override
    final List<String> paths() {
      return paths;
    }
  }

  @Command(
      name = "set",
      description = {
        "Replaces ACLs: the access ACL if there are entries for it, the default ACL if there are"
            + " \"default:\" ones. Missing entries of owner, owning group and others are taken from"
            + " the file, a missing mask is computed."
      },
      footer = {
        "  zorfhadoop acl set u::rw,u:alice:rw,g::r,o::- /zorf/data/events.dat",
        "  zorfhadoop acl set d:u::rwx,d:g:staff:rwx,d:o::- /zorf/data"
      })
  static final class Set extends Given {
    @Override
    void change(String path, boolean directory, byte[] specification) {
      ZORFNative.setAcl(path, specification);
    }
  }

  @Command(
      name = "modify",
      description = {
        "Adds entries to ACLs, or gives those that are there new permissions. The mask is computed"
            + " again unless one is given."
      },
      footer = {
        "  zorfhadoop acl modify user:alice:rx /zorf/data",
        "  zorfhadoop acl modify -R user:alice:rX,default:user:alice:rx /zorf/data",
        "  zorfhadoop acl modify g:staff:rwx,m::rx /zorf/data/events.dat"
      })
  static final class Modify extends Given {
    @Override
    void change(String path, boolean directory, byte[] specification) {
      ZORFNative.modifyAclEntries(path, specification);
    }
  }

  @Command(
      name = "remove",
      description = {
        "Removes entries from ACLs; with --all every entry beyond the mode's three, and a"
            + " directory's default ACL. The mask stays as it is when entries go."
      },
      footer = {
        "  zorfhadoop acl remove user:alice,default:user:alice /zorf/data",
        "  zorfhadoop acl remove -R --all /zorf/data"
      })
  static final class Remove extends Change {
    @Option(names = "--all", description = "Remove all; there is no ENTRIES then.")
    private boolean all;

    @Parameters(
        paramLabel = "[ENTRIES] PATH",
        arity = "1..*",
        hideParamSyntax = true,
        description =
            "Entries such as user:alice or default:mask:, separated by commas (permissions do not"
                + " matter), then what to change.")
    private List<String> words;

    @Override
    void prepare() throws IOException {
      if (!all && words.size() < 2) {
        throw misuse("which entries? ENTRIES or --all, then PATH");
      }
      super.prepare();
    }

    @Override
    String entries() {
      return all ? null : words.get(0);
    }

    @Override
    List<String> paths() {
      return all ? words : words.subList(1, words.size());
    }

    @Override
    boolean permissions() {
      return false;
    }

    @Override
    void change(String path, boolean directory, byte[] specification) {
      if (all) {
        ZORFNative.removeAcl(path, directory);
      } else {
        ZORFNative.removeAclEntries(path, specification);
      }
    }
  }

  @Command(
      name = "remove-default",
      description = "Removes the default ACLs of directories.",
      footer = {"  zorfhadoop acl remove-default /zorf/data"})
  static final class RemoveDefault extends Change {
    @Parameters(paramLabel = "PATH", arity = "1..*", description = "What to change.")
    private List<String> paths;

    @Override
    String entries() {
      return null;
    }

    @Override
    List<String> paths() {
      return paths;
    }

    @Override
    void change(String path, boolean directory, byte[] specification) {
      if (directory) {
        ZORFNative.removeDefaultAcl(path, true);
      } else if (!recursive) {
        // The library would do nothing and call it done.
        throw new Failure(path + NO_DEFAULT);
      }
    }
  }
}
