package zorf.tool;

import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;

/**
 * What a dump tells of one file. A dump is the text of getfacl(1) or getfattr(1), or JSON, an object
 * per file.
 */
final class Dump {
  private static final String FILE = "# file: ";

  final String path;
  /** Owner, group, flags and error, if the dump names them. */
  final Map<String, String> notes = new LinkedHashMap<>();
  /** The text's lines about ACL entries or attributes, a char for each byte. */
  final List<String> lines = new ArrayList<>();

  private Dump(String path) {
    this.path = path;
  }

  static List<Dump> read(byte[] bytes) {
    String latin = Bytes.latin(bytes);
    return latin.trim().startsWith("{") ? readJson(Bytes.utf8(bytes)) : readText(latin);
  }

  private static List<Dump> readText(String text) {
    List<Dump> dumps = new ArrayList<>();
    Dump dump = null;
    int number = 0;
    for (String line : text.split("\n")) {
      number++;
      if (line.startsWith(FILE)) {
        byte[] name = Bytes.ofLatin(line.substring(FILE.length()));
        dump = new Dump(Bytes.utf8(Bytes.unescape(name)));
        dumps.add(dump);
      } else if (!line.trim().isEmpty()) {
        if (dump == null) {
          throw new Failure("line " + number + " is about no file: none begins \"# file: \"");
        }
        if (line.matches("# (owner|group|flags): .*")) {
          int colon = line.indexOf(':');
          dump.notes.put(line.substring(2, colon), line.substring(colon + 2));
        } else if (!line.startsWith("#")) {
          dump.lines.add(line);
        }
      }
    }
    return dumps;
  }

  private static List<Dump> readJson(String text) {
    List<Dump> dumps = new ArrayList<>();
    for (Object value : JsonReader.readAll(text)) {
      Map<?, ?> object = value instanceof Map ? (Map<?, ?>) value : new LinkedHashMap<>();
      if (!(object.get("path") instanceof String)) {
        throw new Failure("object " + (dumps.size() + 1) + " of the dump has no path");
      }
      Dump dump = new Dump((String) object.get("path"));
      for (String note : new String[] {"owner", "group", "flags", "error"}) {
        if (object.get(note) instanceof String) {
          dump.notes.put(note, latin((String) object.get(note)));
        }
      }
      if (object.get("entries") instanceof List) {
        ((List<?>) object.get("entries")).forEach(entry -> dump.lines.add(latin("" + entry)));
      }
      if (object.get("attributes") instanceof Map) {
        ((Map<?, ?>) object.get("attributes")).forEach((name, is) -> dump.attribute("" + name, is));
      }
      dumps.add(dump);
    }
    return dumps;
  }

  private void attribute(String name, Object value) {
    Map<?, ?> forms = value instanceof Map ? (Map<?, ?>) value : new LinkedHashMap<>();
    Object hex = forms.get("hex");
    Object text = forms.get("text");
    if (hex == null && text == null) {
      throw new Failure(path + ": " + name + " has neither text nor hex in the dump");
    }
    String form =
        hex != null
            ? hex.toString()
            : AttributeValue.format(Bytes.utf8(text.toString()), AttributeValue.Encoding.text);
    lines.add(latin(attributeName(name) + "=" + form));
  }

  /** An attribute's name as getfattr(1) writes it before the "=". */
  static String attributeName(String name) {
    return Bytes.escape(Bytes.utf8(name), "\\=", "");
  }

  /** An attribute of the dump. */
  static final class Attribute {
    final String name;
    final byte[] value;

    private Attribute(byte[] name, byte[] value) {
      this.name = Bytes.utf8(name);
      this.value = value;
    }
  }

  /** The lines as attributes: "name=value", or a name alone for the empty value. */
  List<Attribute> attributes() {
    List<Attribute> attributes = new ArrayList<>();
    for (String line : lines) {
      String[] sides = (line.contains("=") ? line : line + "=").split("=", 2);
      try {
        attributes.add(
            new Attribute(
                Bytes.unescape(Bytes.ofLatin(sides[0])),
                AttributeValue.parse(Bytes.ofLatin(sides[1]))));
      } catch (IllegalArgumentException e) {
        throw new Failure(path + ": " + e.getMessage(), e);
      }
    }
    return attributes;
  }

  private static String latin(String text) {
    return Bytes.latin(Bytes.utf8(text));
  }
}
