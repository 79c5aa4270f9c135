package zorf.tool;

import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.util.List;
import org.apache.hadoop.hdfs.server.namenode.ZORFNative;
import org.apache.hadoop.hdfs.server.namenode.zorf.AclEntry;
import org.apache.hadoop.hdfs.server.namenode.zorf.AclFormat;
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
      AclCommand.RemoveDefault.class
    },
    footer = {
      "  zorfhadoop acl get /zorf/data",
      "  zorfhadoop acl modify user:alice:rx,default:group:staff:rx /zorf/data"
    })
final class AclCommand extends GroupCommand {
  private static final String ENTRIES =
      "Entries such as user:alice:rw-, group:1001:rx, mask::r, other::- with \"default:\" before"
          + " those of a directory's default ACL, separated by commas; the words may be cut to"
          + " one letter. \"-\" reads them from stdin, as \"acl get\" prints them.";

  /** A record and what it says. */
  private static FileStatus status(byte[] record) {
    return Library.layout().decode(record);
  }

  private static boolean isDirectory(String path) {
    return status(ZORFNative.getFileStatusNative(path, true)).type() == FileType.DIRECTORY;
  }

  @Command(
      name = "get",
      description = {
        "Shows ACLs as getfacl(1) does. A file without one has the three entries of its mode."
      },
      footer = {
        "  zorfhadoop acl get /zorf/data",
        "  zorfhadoop acl get --numeric --as alice /zorf/data",
        "  zorfhadoop acl get /zorf/a | zorfhadoop acl set - /zorf/b      copy an ACL"
      })
  static final class Get extends FileCommand {
    @Parameters(paramLabel = "PATH", arity = "1..*", description = "Whose ACL to show.")
    private List<String> paths;

    @Option(
        names = {"-n", "--numeric"},
        description = "Show ids instead of names.")
    private boolean numeric;

    @Option(names = "--json", description = "Print one JSON object per line and path.")
    private boolean json;

    private boolean began;

    @Override
    int runAsUser() {
      return each(paths, this::show);
    }

    private void show(String path) {
      byte[] record = ZORFNative.getFileStatusNative(path, true);
      List<AclEntry> acl = AclFormat.decodeReport(ZORFNative.getAclStatus(path, record));
      FileStatus status = status(record);
      String owner = numeric ? Long.toString(status.uid()) : Names.user(status.uid());
      String group = numeric ? Long.toString(status.gid()) : Names.group(status.gid());
      if (json) {
        Json object = new Json().object().put("path", path).put("owner", owner).put("group", group);
        object.key("entries").array();
        acl.forEach(entry -> object.value(AclText.format(entry, numeric)));
        Output.OUT.println(object.end().end());
        return;
      }
      if (began) {
        Output.OUT.println();
      }
      began = true;
      Output.OUT.println("# file: " + Output.printable(path));
      Output.OUT.println("# owner: " + owner);
      Output.OUT.println("# group: " + group);
      for (AclEntry entry : acl) {
        String text = AclText.format(entry, numeric);
        String effective = AclText.effective(entry, acl);
        Output.OUT.println(
            effective.isEmpty() ? text : String.format("%-31s %s", text, effective));
      }
    }
  }

  /** A command that sends a specification. */
  abstract static class Change extends FileCommand {
    private byte[] specification;

    /** The entries' text, null if there is none. */
    abstract String entries();

    abstract boolean permissions();

    @Override
    void prepare() throws IOException {
      if (entries() == null) {
        return;
      }
      String text = entries().equals("-") ? input() : entries();
      Library.load();
      try {
        specification = AclFormat.encodeSpecification(AclText.parse(text, permissions()));
      } catch (IllegalArgumentException e) {
        throw misuse(e.getMessage());
      }
    }

    byte[] specification() {
      return specification;
    }

    private static String input() throws IOException {
      ByteArrayOutputStream bytes = new ByteArrayOutputStream();
      byte[] buffer = new byte[8192];
      for (int count; (count = System.in.read(buffer)) >= 0; ) {
        bytes.write(buffer, 0, count);
      }
      return new String(bytes.toByteArray(), StandardCharsets.UTF_8);
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
  static final class Set extends Change {
    @Parameters(index = "0", paramLabel = "ENTRIES", description = ENTRIES)
    private String entries;

    @Parameters(
        index = "1..*",
        paramLabel = "PATH",
        arity = "1..*",
        description = "What to change.")
    private List<String> paths;

    @Override
    String entries() {
      return entries;
    }

    @Override
    boolean permissions() {
      return true;
    }

    @Override
    int runAsUser() {
      return each(paths, path -> ZORFNative.setAcl(path, specification()));
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
        "  zorfhadoop acl modify g:staff:rwx,m::rx /zorf/data/events.dat"
      })
  static final class Modify extends Change {
    @Parameters(index = "0", paramLabel = "ENTRIES", description = ENTRIES)
    private String entries;

    @Parameters(
        index = "1..*",
        paramLabel = "PATH",
        arity = "1..*",
        description = "What to change.")
    private List<String> paths;

    @Override
    String entries() {
      return entries;
    }

    @Override
    boolean permissions() {
      return true;
    }

    @Override
    int runAsUser() {
      return each(paths, path -> ZORFNative.modifyAclEntries(path, specification()));
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
        "  zorfhadoop acl remove --all /zorf/data/events.dat"
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
    boolean permissions() {
      return false;
    }

    @Override
    int runAsUser() {
      return all
          ? each(words, path -> ZORFNative.removeAcl(path, isDirectory(path)))
          : each(
              words.subList(1, words.size()),
              path -> ZORFNative.removeAclEntries(path, specification()));
    }
  }

  @Command(
      name = "remove-default",
      description = "Removes the default ACLs of directories.",
      footer = {"  zorfhadoop acl remove-default /zorf/data"})
  static final class RemoveDefault extends FileCommand {
    @Parameters(paramLabel = "PATH", arity = "1..*", description = "What to change.")
    private List<String> paths;

    @Override
    int runAsUser() {
      return each(paths, this::remove);
    }

    private void remove(String path) {
      if (!isDirectory(path)) {
        // The library would do nothing and call it done.
        throw new Failure(path + ": only directories have a default ACL");
      }
      ZORFNative.removeDefaultAcl(path, true);
    }
  }
}
