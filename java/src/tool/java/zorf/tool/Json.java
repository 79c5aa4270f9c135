package zorf.tool;

import java.util.ArrayDeque;
import java.util.Deque;

/** Writes one JSON document on one line. */
final class Json {
  private final StringBuilder text = new StringBuilder();
  private final Deque<Character> open = new ArrayDeque<>();
  private boolean first = true;

  private Json separate() {
    if (!first) {
      text.append(", ");
    }
    first = false;
    return this;
  }

  private Json open(char opening, char closing) {
    separate();
    text.append(opening);
    open.push(closing);
    first = true;
    return this;
  }

  Json object() {
    return open('{', '}');
  }

  Json array() {
    return open('[', ']');
  }

  /** Closes the innermost object or array. */
  Json end() {
    text.append(open.pop());
    first = false;
    return this;
  }

  Json key(String key) {
    separate();
    quote(key);
    text.append(": ");
    first = true;
    return this;
  }

  Json value(String value) {
    separate();
    if (value == null) {
      text.append("null");
    } else {
      quote(value);
    }
    return this;
  }

  Json value(long value) {
    separate();
    text.append(value);
    return this;
  }

  Json value(boolean value) {
    separate();
    text.append(value);
    return this;
  }

  Json put(String key, String value) {
    return key(key).value(value);
  }

  Json put(String key, long value) {
    return key(key).value(value);
  }

  Json put(String key, boolean value) {
    return key(key).value(value);
  }

  Json put(String key, int[] values) {
    key(key).array();
    for (int value : values) {
      value(value);
    }
    return end();
  }

  private void quote(String value) {
    text.append('"');
    for (int i = 0; i < value.length(); i++) {
      char c = value.charAt(i);
      switch (c) {
        case '"':
        case '\\':
          text.append('\\').append(c);
          break;
        case '\n':
          text.append("\\n");
          break;
        case '\t':
          text.append("\\t");
          break;
        default:
          if (c < ' ' || c == 0x7F || Character.isSurrogate(c) && !paired(value, i)) {
            text.append(String.format("\\u%04x", (int) c));
          } else {
            text.append(c);
          }
      }
    }
    text.append('"');
  }

  /** A surrogate without its partner has no UTF-8. */
  static boolean paired(String value, int i) {
    return Character.isHighSurrogate(value.charAt(i))
        ? i + 1 < value.length() && Character.isLowSurrogate(value.charAt(i + 1))
        : i > 0 && Character.isHighSurrogate(value.charAt(i - 1));
  }

  /** The text since the last call: a long document need not be kept whole. */
  String take() {
    String taken = text.toString();
    text.setLength(0);
    return taken;
  }

  @Override
  public String toString() {
    if (!open.isEmpty()) {
      throw new IllegalStateException("not closed: " + text);
    }
    return text.toString();
  }
}
