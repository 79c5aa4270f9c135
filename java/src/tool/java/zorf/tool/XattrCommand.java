package zorf.tool;

import java.util.List;
import java.util.Map;
import java.util.TreeMap;
import org.apache.hadoop.hdfs.server.namenode.ZORFNative;
import picocli.CommandLine.Command;
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
      XattrCommand.Dump.class
    },
    footer = {
      "  zorfhadoop xattr dump /zorf/data/events.dat",
      "  zorfhadoop xattr set user.color blue /zorf/data/events.dat"
    })
final class XattrCommand extends GroupCommand {
  private static final String NAME = "The attribute's whole name, such as user.color.";
  private static final String ENCODING =
      "How to show values: ${COMPLETION-CANDIDATES} (default: ${DEFAULT-VALUE}, which is text where"
          + " that is printable, else hex).";

  private static final short CREATE = 1;
  private static final short REPLACE = 2;

  private static final String NOT_THERE = "No data available";

  /** Says which attribute is missing where the library only says that one is. */
  private static Failure failure(String path, String name, Exception e) {
    String system = Failure.systemText(e);
    return new Failure(
        path + ": " + name + ": " + (system.equals(NOT_THERE) ? "no such attribute" : system), e);
  }

  private static Map<String, byte[]> all(String path) {
    return new TreeMap<>(ZORFNative.dumpXAttrs(path));
  }

  private static Failure failure(String path, Exception e) {
    return new Failure(path + ": " + Failure.systemText(e), e);
  }

  /** For commands that show several paths. */
  abstract static class Show extends FileCommand {
    @Parameters(paramLabel = "PATH", arity = "1..*", description = "Whose attributes to show.")
    private List<String> paths;

    private boolean began;

    @Override
    final int runAsUser() {
      return each(paths, this::show);
    }

    private void show(String path) {
      Map<String, byte[]> attributes;
      try {
        attributes = all(path);
      } catch (Exception e) {
        throw failure(path, e);
      }
      if (paths.size() > 1 && !json()) {
        Output.OUT.println((began ? System.lineSeparator() : "") + "# file: " + path);
        began = true;
      }
      show(path, attributes);
    }

    abstract boolean json();

    abstract void show(String path, Map<String, byte[]> attributes);
  }

  @Command(
      name = "list",
      description = "Shows the names of a file's attributes.",
      footer = {"  zorfhadoop xattr list /zorf/data/events.dat"})
  static final class ListNames extends Show {
    @Override
    boolean json() {
      return false;
    }

    @Override
    void show(String path, Map<String, byte[]> attributes) {
      // From the dump: the native that lists names stores them one place too far, and throws for
      // the last one.
      attributes.keySet().forEach(name -> Output.OUT.println(Output.printable(name)));
    }
  }

  @Command(
      name = "dump",
      description = "Shows the names and values of a file's attributes.",
      footer = {
        "  zorfhadoop xattr dump /zorf/data/events.dat",
        "  zorfhadoop xattr dump --json /zorf/data/events.dat"
      })
  static final class Dump extends Show {
    @Option(
        names = {"-e", "--encoding"},
        paramLabel = "ENCODING",
        defaultValue = "auto",
        description = ENCODING)
    private AttributeValue.Encoding encoding;

    @Option(
        names = "--json",
        description = "Print one JSON object per line and path, the values as they are shown.")
    private boolean json;

    @Override
    boolean json() {
      return json;
    }

    @Override
    void show(String path, Map<String, byte[]> attributes) {
      if (json) {
        Json object = new Json().object().put("path", path).key("attributes").object();
        attributes.forEach(
            (name, value) -> {
              boolean plain = encoding == AttributeValue.Encoding.auto;
              String text = plain ? AttributeValue.printable(value) : null;
              object.put(name, text == null ? AttributeValue.format(value, encoding) : text);
            });
        Output.OUT.println(object.end().end());
        return;
      }
      attributes.forEach(
          (name, value) ->
              Output.OUT.println(
                  Output.printable(name) + "=" + AttributeValue.format(value, encoding)));
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
  static final class Get extends FileCommand {
    @Parameters(index = "0", paramLabel = "NAME", description = NAME)
    private String name;

    @Parameters(index = "1..*", paramLabel = "PATH", arity = "1..*", description = "Whose value.")
    private List<String> paths;

    @Option(
        names = {"-e", "--encoding"},
        paramLabel = "ENCODING",
        defaultValue = "auto",
        description = ENCODING)
    private AttributeValue.Encoding encoding;

    @Option(names = "--raw", description = "Print the bytes of the value and nothing else.")
    private boolean raw;

    @Override
    int runAsUser() {
      return each(paths, this::show);
    }

    private void show(String path) {
      byte[] value;
      try {
        value = ZORFNative.getXAttrs(path, new String[] {name}).get(name);
      } catch (Exception e) {
        throw failure(path, name, e);
      }
      if (raw) {
        Output.OUT.write(value, 0, value.length);
      } else {
        Output.OUT.println(
            (paths.size() > 1 ? Output.printable(path) + ": " : "")
                + AttributeValue.format(value, encoding));
      }
    }
  }

  @Command(
      name = "set",
      description = "Sets an attribute.",
      footer = {
        "  zorfhadoop xattr set user.color blue /zorf/data/events.dat",
        "  zorfhadoop xattr set --create user.key 0x00ff10 /zorf/data/events.dat",
        "  zorfhadoop xattr set user.empty '' /zorf/data/events.dat"
      })
  static final class Set extends FileCommand {
    @Parameters(index = "0", paramLabel = "NAME", description = NAME)
    private String name;

    @Parameters(
        index = "1",
        paramLabel = "VALUE",
        description = "Text, or bytes as 0x and hex digits or as 0s and base64.")
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
    void prepare() {
      if (create && replace) {
        throw misuse("--create and --replace exclude each other");
      }
      try {
        bytes = AttributeValue.parse(value);
      } catch (IllegalArgumentException e) {
        throw misuse(e.getMessage());
      }
    }

    @Override
    int runAsUser() {
      short flags = create ? CREATE : replace ? REPLACE : 0;
      return each(
          paths,
          path -> {
            try {
              ZORFNative.setExtendedAttribute(path, name, bytes, flags);
            } catch (Exception e) {
              throw failure(path, name, e);
            }
          });
    }
  }

  @Command(
      name = "remove",
      description = "Removes an attribute.",
      footer = {"  zorfhadoop xattr remove user.color /zorf/data/events.dat"})
  static final class Remove extends FileCommand {
    @Parameters(index = "0", paramLabel = "NAME", description = NAME)
    private String name;

    @Parameters(
        index = "1..*",
        paramLabel = "PATH",
        arity = "1..*",
        description = "What to change.")
    private List<String> paths;

    @Override
    int runAsUser() {
      return each(
          paths,
          path -> {
            try {
              ZORFNative.removeXAttr(path, name);
            } catch (Exception e) {
              throw failure(path, name, e);
            }
          });
    }
  }
}
