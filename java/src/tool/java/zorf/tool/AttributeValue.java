package zorf.tool;

import java.nio.ByteBuffer;
import java.nio.charset.CharacterCodingException;
import java.nio.charset.StandardCharsets;
import java.util.Base64;

/** Values of extended attributes as text, in the forms of getfattr(1) and setfattr(1). */
final class AttributeValue {
  /** How to show a value. */
  enum Encoding {
    /** Text where it is printable, else hex. */
    auto,
    text,
    hex,
    base64
  }

  private AttributeValue() {}

  /** Reads "0x..." as hex, "0s..." as base64, anything else as text. */
  static byte[] parse(String text) {
    if (text.matches("0[xX].*")) {
      String digits = text.substring(2);
      if (!digits.matches("([0-9a-fA-F]{2})*")) {
        throw new IllegalArgumentException("'" + text + "' is no hexadecimal value");
      }
      byte[] value = new byte[digits.length() / 2];
      for (int i = 0; i < value.length; i++) {
        value[i] = (byte) Integer.parseInt(digits.substring(2 * i, 2 * i + 2), 16);
      }
      return value;
    }
    if (text.matches("0[sS].*")) {
      try {
        return Base64.getDecoder().decode(text.substring(2));
      } catch (IllegalArgumentException e) {
        throw new IllegalArgumentException("'" + text + "' is no base64 value", e);
      }
    }
    return text.getBytes(StandardCharsets.UTF_8);
  }

  /** The value as {@link #parse} reads it back; text stands in quotes. */
  static String format(byte[] value, Encoding encoding) {
    switch (encoding) {
      case hex:
        return hex(value);
      case base64:
        return "0s" + Base64.getEncoder().encodeToString(value);
      case text:
        return quoted(new String(value, StandardCharsets.UTF_8));
      default:
        String text = printable(value);
        return text == null ? hex(value) : quoted(text);
    }
  }

  private static String hex(byte[] value) {
    StringBuilder text = new StringBuilder("0x");
    for (byte b : value) {
      text.append(String.format("%02x", b));
    }
    return text.toString();
  }

  private static String quoted(String text) {
    StringBuilder quoted = new StringBuilder("\"");
    for (char c : text.toCharArray()) {
      if (c == '"' || c == '\\') {
        quoted.append('\\').append(c);
      } else if (Character.isISOControl(c)) {
        quoted.append(String.format("\\%03o", (int) c));
      } else {
        quoted.append(c);
      }
    }
    return quoted.append('"').toString();
  }

  /** The value as text, null if it is not UTF-8 without control characters. */
  static String printable(byte[] value) {
    try {
      String text = StandardCharsets.UTF_8.newDecoder().decode(ByteBuffer.wrap(value)).toString();
      return text.chars().anyMatch(Character::isISOControl) ? null : text;
    } catch (CharacterCodingException e) {
      return null;
    }
  }
}
