package zorf.tool;

import java.nio.ByteBuffer;
import java.nio.charset.CharacterCodingException;
import java.nio.charset.StandardCharsets;
import java.util.Arrays;
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

  /** Reads "0x..." as hex, "0s..." as base64, text with or without quotes around it. */
  static byte[] parse(byte[] given) {
    String text = Bytes.latin(given);
    if (text.matches("(?s)0[xX].*")) {
      String digits = text.substring(2);
      if (digits.length() % 2 != 0 || !digits.matches("[0-9a-fA-F]*")) {
        throw new IllegalArgumentException("'" + Bytes.utf8(given) + "' is no hexadecimal value");
      }
      byte[] value = new byte[digits.length() / 2];
      for (int i = 0; i < value.length; i++) {
        value[i] = (byte) Integer.parseInt(digits.substring(2 * i, 2 * i + 2), 16);
      }
      return value;
    }
    if (text.matches("(?s)0[sS].*")) {
      try {
        return Base64.getDecoder().decode(text.substring(2));
      } catch (IllegalArgumentException e) {
        throw new IllegalArgumentException("'" + Bytes.utf8(given) + "' is no base64 value", e);
      }
    }
    return text.matches("(?s)\".*\"")
        ? Bytes.unescape(Arrays.copyOfRange(given, 1, given.length - 1))
        : given;
  }

  /** The value as {@link #parse} reads it back; text stands in quotes. */
  static String format(byte[] value, Encoding encoding) {
    switch (encoding) {
      case hex:
        return hex(value);
      case base64:
        return "0s" + Base64.getEncoder().encodeToString(value);
      case text:
        return quoted(value);
      default:
        String text = text(value);
        boolean printable = text != null && text.chars().noneMatch(Character::isISOControl);
        return printable ? quoted(value) : hex(value);
    }
  }

  private static String hex(byte[] value) {
    StringBuilder text = new StringBuilder("0x");
    for (byte b : value) {
      text.append(String.format("%02x", b));
    }
    return text.toString();
  }

  private static String quoted(byte[] value) {
    return '"' + Bytes.escape(value, "", "\\\"") + '"';
  }

  /** The value as text, null if it is not UTF-8. */
  static String text(byte[] value) {
    try {
      return StandardCharsets.UTF_8.newDecoder().decode(ByteBuffer.wrap(value)).toString();
    } catch (CharacterCodingException e) {
      return null;
    }
  }

  /** The members of a JSON object that stand for a value: its bytes, and its text if it has one. */
  static void put(Json object, byte[] value) {
    String text = text(value);
    if (text != null) {
      object.put("text", text);
    }
    object.put("hex", hex(value));
  }
}
