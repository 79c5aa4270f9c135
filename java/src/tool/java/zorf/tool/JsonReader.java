package zorf.tool;

import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;

/** Reads JSON: objects as maps, arrays as lists, all else as strings. */
final class JsonReader {
  private static final int DEEPEST = 100;

  private final String text;
  private int at;
  private int depth;

  private JsonReader(String text) {
    this.text = text;
  }

  /** The values of a text, with nothing but white space between them. */
  static List<Object> readAll(String text) {
    JsonReader reader = new JsonReader(text);
    List<Object> values = new ArrayList<>();
    for (reader.skip(); reader.at < text.length(); reader.skip()) {
      values.add(reader.value());
    }
    return values;
  }

  private Failure wrong() {
    return new Failure("this is no JSON from character " + (at + 1) + " on");
  }

  private void skip() {
    while (at < text.length() && " \t\r\n".indexOf(text.charAt(at)) >= 0) {
      at++;
    }
  }

  private boolean take(char c) {
    skip();
    boolean there = at < text.length() && text.charAt(at) == c;
    at += there ? 1 : 0;
    return there;
  }

  private void need(char c) {
    if (!take(c)) {
      throw wrong();
    }
  }

  private Object value() {
    if (++depth > DEEPEST) {
      throw wrong();
    }
    Object value = take('{') ? object() : take('[') ? array() : take('"') ? string() : word();
    depth--;
    return value;
  }

  private Map<String, Object> object() {
    Map<String, Object> members = new LinkedHashMap<>();
    if (take('}')) {
      return members;
    }
    do {
      need('"');
      String key = string();
      need(':');
      members.put(key, value());
    } while (take(','));
    need('}');
    return members;
  }

  private List<Object> array() {
    List<Object> elements = new ArrayList<>();
    if (take(']')) {
      return elements;
    }
    do {
      elements.add(value());
    } while (take(','));
    need(']');
    return elements;
  }

  private String string() {
    StringBuilder string = new StringBuilder();
    while (at < text.length() && text.charAt(at) != '"') {
      char c = text.charAt(at++);
      string.append(c == '\\' ? escaped() : c);
    }
    if (at++ >= text.length()) {
      throw wrong();
    }
    return string.toString();
  }

  private char escaped() {
    int letter = at < text.length() ? "\"\\/bfnrt".indexOf(text.charAt(at)) : -1;
    if (letter >= 0) {
      at++;
      return "\"\\/\b\f\n\r\t".charAt(letter);
    }
    if (at + 5 > text.length() || !text.substring(at, at + 5).matches("u[0-9a-fA-F]{4}")) {
      throw wrong();
    }
    at += 5;
    return (char) Integer.parseInt(text.substring(at - 4, at), 16);
  }

  /** A number, true, false or null. */
  private String word() {
    int start = at;
    while (at < text.length() && "+-.".indexOf(text.charAt(at)) >= 0
        || at < text.length() && Character.isLetterOrDigit(text.charAt(at))) {
      at++;
    }
    if (at == start) {
      throw wrong();
    }
    return text.substring(start, at);
  }
}
