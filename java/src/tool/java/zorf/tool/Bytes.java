package zorf.tool;

import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.io.InputStream;
import java.nio.ByteBuffer;
import java.nio.CharBuffer;
import java.nio.charset.CharsetDecoder;
import java.nio.charset.CoderResult;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Paths;

/** Bytes as text without a loss, the way getfacl(1) and getfattr(1) write them. */
final class Bytes {
  private Bytes() {}

  /**
   * As UTF-8. What is not, control characters and those of {@code octal} become "\ooo"; those of
   * {@code shielded} get a "\" before them.
   */
  static String escape(byte[] bytes, String octal, String shielded) {
    StringBuilder text = new StringBuilder();
    CharsetDecoder decoder = StandardCharsets.UTF_8.newDecoder();
    ByteBuffer in = ByteBuffer.wrap(bytes);
    CharBuffer out = CharBuffer.allocate(bytes.length);
    while (true) {
      CoderResult result = decoder.decode(in, out, true);
      out.flip();
      for (char c : out.toString().toCharArray()) {
        if (Character.isISOControl(c) || octal.indexOf(c) >= 0) {
          octal(text, utf8(String.valueOf(c)));
        } else {
          text.append(shielded.indexOf(c) >= 0 ? "\\" : "").append(c);
        }
      }
      if (!result.isError()) {
        return text.toString();
      }
      byte[] wrong = new byte[result.length()];
      in.get(wrong);
      octal(text, wrong);
      out.clear();
    }
  }

  private static void octal(StringBuilder text, byte[] bytes) {
    for (byte b : bytes) {
      text.append(String.format("\\%03o", b & 0xFF));
    }
  }

  /** The bytes of escaped text: "\ooo" is one, and a "\" before anything else only shields it. */
  static byte[] unescape(byte[] text) {
    ByteArrayOutputStream bytes = new ByteArrayOutputStream();
    String latin = latin(text);
    for (int i = 0; i < latin.length(); i++) {
      if (latin.startsWith("\\", i) && i + 1 < latin.length()) {
        String digits = latin.substring(i + 1, Math.min(i + 4, latin.length()));
        boolean octal = digits.matches("[0-3][0-7]{2}");
        bytes.write(octal ? Integer.parseInt(digits, 8) : text[i + 1]);
        i += octal ? 3 : 1;
      } else {
        bytes.write(text[i]);
      }
    }
    return bytes.toByteArray();
  }

  /** A char for each byte, for patterns. */
  static String latin(byte[] bytes) {
    return new String(bytes, StandardCharsets.ISO_8859_1);
  }

  static byte[] ofLatin(String text) {
    return text.getBytes(StandardCharsets.ISO_8859_1);
  }

  static String utf8(byte[] bytes) {
    return new String(bytes, StandardCharsets.UTF_8);
  }

  static byte[] utf8(String text) {
    return text.getBytes(StandardCharsets.UTF_8);
  }

  /** All that a file holds, or stdin if it is "-". */
  static byte[] of(String file) throws IOException {
    if (!file.equals("-")) {
      try {
        return Files.readAllBytes(Paths.get(file));
      } catch (IOException e) {
        throw new Failure("can't read " + file + ": " + Failure.reason(e), e);
      }
    }
    InputStream in = System.in;
    ByteArrayOutputStream bytes = new ByteArrayOutputStream();
    byte[] buffer = new byte[8192];
    for (int count; (count = in.read(buffer)) >= 0; ) {
      bytes.write(buffer, 0, count);
    }
    return bytes.toByteArray();
  }
}
