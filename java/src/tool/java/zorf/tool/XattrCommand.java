package zorf.tool;

import java.io.IOException;
import java.util.List;
import java.util.Map;
import java.util.TreeMap;
import org.apache.hadoop.hdfs.server.namenode.ZORFNative;
import picocli.CommandLine.Command;
import picocli.CommandLine.Mixin;
import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;

@Command(
    name = "xattr",
    description = "Shows and changes extended attributes; names are whole, such as user.color.",
    synopsisSubcommandLabel = "COMMAND",
    subcommands = {
      XattrCommand.ListNames.class,
      XattrCommand.Get.class,
      XattrCommand.Set.class,
      XattrCommand.Remove.class,
      XattrCommand.Dumper.class,
      XattrCommand.Restore.class
    },
    footer = {
      "  zorfhadoop xattr dump /zorf/data/events.dat",
      "  zorfhadoop xattr set user.color blue /zorf/data/events.dat"
    })
final class XattrCommand extends GroupCommand {
  private static final String NAME = "The attribute's whole name, such as user.color.";
  private static final String NOT_THERE = "No data available";

  /** How values are shown. */
  static final class Encoded {
    @Option(
        names = {"-e", "--encoding"},
        paramLabel = "ENCODING",
        defaultValue = "auto",
        description =
            "How to show values: ${COMPLETION-CANDIDATES} (default: ${DEFAULT-VALUE}, which is text"
                + " where that is printable, else hex). JSON has text, if it is some, and hex.")
    private AttributeValue.Encoding encoding;

    String format(byte[] value) {
      return AttributeValue.format(value, encoding);
    }
  }

  /** For commands that show all attributes of files. */
  abstract static class Show extends TreeCommand {
    @Parameters(paramLabel = "PATH", arity = "1..*", description = "Whose attributes to show.")
    List<String> paths;

    private boolean began;

    @Override
    final int runAsUser() {
      return each(paths, this::show);
    }

    private void show(String path) {
      Map<String, byte[]> attributes;
      try {
        attributes = new TreeMap<>(ZORFNative.dumpXAttrs(path));
      } catch (Exception e) {
        throw new Failure(path + ": " + Failure.systemText(e), e);
      }
      if (json) {
        Json object = new Json().object().put("path", path).key("attributes");
        json(attributes, object);
        Output.OUT.println(object.end());
        return;
      }
      if (headed(attributes)) {
        Output.OUT.println(
            (began ? "\n" : "") + "# file: " + Bytes.escape(Bytes.utf8(path), "\\", ""));
        began = true;
      }
      attributes.forEach((name, value) -> Output.OUT.println(line(name, value)));
    }

    /** Whether the name of the file comes first. */
    abstract boolean headed(Map<String, byte[]> attributes);

    abstract String line(String name, byte[] value);

    abstract void json(Map<String, byte[]> attributes, Json to);
  }

  @Command(
      name = "list",
      description = "Shows the names of a file's attributes.",
      footer = {"  zorfhadoop xattr list /zorf/data/events.dat"})
  static final class ListNames extends Show {
    // From the dump: the native that lists names stores them one place too far, and throws for
    // the last one.

    @Override
    boolean headed(Map<String, byte[]> attributes) {
      return recursive || paths.size() > 1;
    }

    @Override
    String line(String name, byte[] value) {
      return Output.printable(name);
    }

    @Override
    void json(Map<String, byte[]> attributes, Json to) {
      to.array();
      attributes.keySet().forEach(to::value);
      to.end();
    }
  }

  @Command(
      name = "dump",
      description = {
        "Shows the names and values of files' attributes, as getfattr(1) does. What it prints,"
            + " \"xattr restore\" and \"setfattr --restore\" take back."
      },
      footer = {
        "  zorfhadoop xattr dump /zorf/data/events.dat",
        "  zorfhadoop xattr dump --json /zorf/data/events.dat",
        "  zorfhadoop xattr dump -R /zorf/data >data.xattr"
      })
  static final class Dumper extends Show {
    @Mixin private Encoded encoded;

    @Override
    boolean headed(Map<String, byte[]> attributes) {
      return !attributes.isEmpty();
    }

    @Override
    String line(String name, byte[] value) {
      return Dump.attributeName(name) + "=" + encoded.format(value);
    }

    @Override
    void json(Map<String, byte[]> attributes, Json to) {
      to.object();
      attributes.forEach(
          (name, value) -> {
            AttributeValue.put(to.key(name).object(), value);
            to.end();
          });
      to.end();
    }
  }

  /** For commands about one attribute of files. */
  abstract static class Named extends FileCommand {
    @Parameters(index = "0", paramLabel = "NAME", description = NAME)
    String name;

    /** Says which attribute is missing where the library only says that one is. */
    final void named(String path, PathAction action) {
      try {
        action.on(path);
      } catch (Exception e) {
        String system = Failure.systemText(e);
        String reason = system.equals(NOT_THERE) ? "no such attribute" : system;
        throw new Failure(path + ": " + name + ": " + reason, e);
      }
    }
  }

  @Command(
      name = "get",
      description = "Shows the value of one attribute.",
      footer = {
        "  zorfhadoop xattr get user.color /zorf/data/events.dat",
        "  zorfhadoop xattr get --encoding hex user.BGF /zorf/data/events.dat",
        "  zorfhadoop xattr get --raw user.icon /zorf/data/events.dat >icon.png"
      })
  static final class Get extends Named {
    @Parameters(index = "1..*", paramLabel = "PATH", arity = "1..*", description = "Whose value.")
    private List<String> paths;

    @Mixin private Encoded encoded;

    @Option(names = "--raw", description = "Print the bytes of the value and nothing else.")
    private boolean raw;

    @Override
    int runAsUser() {
      return each(paths, path -> named(path, this::show));
    }

    private void show(String path) {
      byte[] value = ZORFNative.getXAttrs(path, new String[] {name}).get(name);
      if (raw) {
        Output.OUT.write(value, 0, value.length);
      } else if (json) {
        Json object = new Json().object().put("path", path).put("name", name);
        AttributeValue.put(object, value);
        Output.OUT.println(object.end());
      } else {
        String of = paths.size() > 1 ? Output.printable(path) + ": " : "";
        Output.OUT.println(of + encoded.format(value));
      }
    }
  }

  @Command(
      name = "set",
      description = "Sets an attribute.",
      footer = {
        "  zorfhadoop xattr set user.color blue /zorf/data/events.dat",
        "  zorfhadoop xattr set --create user.key 0x00ff10 /zorf/data/events.dat",
        "  zorfhadoop xattr set user.empty '' /zorf/data/events.dat",
        "  zorfhadoop xattr set user.icon - /zorf/data/events.dat <icon.png"
      })
  static final class Set extends Named {
    private static final short CREATE = 1;
    private static final short REPLACE = 2;

    @Parameters(
        index = "1",
        paramLabel = "VALUE",
        description =
            "Text, or text in quotes with \\ooo for a byte, or bytes as 0x and hex digits or as 0s"
                + " and base64. \"-\" takes the bytes from stdin as they are.")
    private String value;

    @Parameters(
        index = "2..*",
        paramLabel = "PATH",
        arity = "1..*",
        description = "What to change.")
    private List<String> paths;

    @Option(names = "--create", description = "Fail if the attribute is there already.")
    private boolean create;

    @Option(names = "--replace", description = "Fail if the attribute is not there yet.")
    private boolean replace;

    private byte[] bytes;

    @Override
    void prepare() throws IOException {
      if (create && replace) {
        throw misuse("--create and --replace exclude each other");
      }
      try {
        bytes = value.equals("-") ? Bytes.of("-") : AttributeValue.parse(Bytes.utf8(value));
      } catch (IllegalArgumentException e) {
        throw misuse(e.getMessage());
      }
    }

    @Override
    int runAsUser() {
      short flags = create ? CREATE : replace ? REPLACE : 0;
      return change(
          paths,
          path ->
              named(path, each -> ZORFNative.setExtendedAttribute(each, name, bytes, flags)));
    }
  }

  @Command(
      name = "remove",
      description = "Removes an attribute.",
      footer = {"  zorfhadoop xattr remove user.color /zorf/data/events.dat"})
  static final class Remove extends Named {
    @Parameters(
        index = "1..*",
        paramLabel = "PATH",
        arity = "1..*",
        description = "What to change.")
    private List<String> paths;

    @Override
    int runAsUser() {
      return change(
          paths, path -> named(path, each -> ZORFNative.removeXAttr(each, name)));
    }
  }

  @Command(
      name = "restore",
      description = {
        "Gives files the attributes of a dump: what \"xattr dump\" (with --json too) or \"getfattr"
            + " -d\" printed. Attributes that the dump does not have stay."
      },
      footer = {
        "  zorfhadoop xattr restore data.xattr",
        "  getfattr -R -d --absolute-names /zorf/data | zorfhadoop xattr restore -"
      })
  static final class Restore extends RestoreCommand {
    @Override
    void restore(Dump dump) {
      for (Dump.Attribute attribute : dump.attributes()) {
        try {
          ZORFNative.setExtendedAttribute(
              dump.path, attribute.name, attribute.value, (short) 0);
        } catch (Exception e) {
          throw new Failure(
              dump.path + ": " + attribute.name + ": " + Failure.systemText(e), e);
        }
      }
    }
  }
}
