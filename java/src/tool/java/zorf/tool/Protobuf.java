package zorf.tool;

import java.io.ByteArrayOutputStream;
import java.io.EOFException;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.charset.StandardCharsets;
import java.util.HashMap;
import java.util.Map;

/** As much of protocol buffers as a few small messages need. */
final class Protobuf {
  private static final int VARINT = 0;
  private static final int FIXED64 = 1;
  private static final int DELIMITED = 2;
  private static final int FIXED32 = 5;

  private Protobuf() {}

  /** A message that is being made. */
  static final class Maker {
    private final ByteArrayOutputStream bytes = new ByteArrayOutputStream();

    Maker number(int field, long value) {
      varint(field << 3 | VARINT);
      return varint(value);
    }

    /** A number whose type is sint32. */
    Maker signed(int field, int value) {
      return number(field, (value << 1 ^ value >> 31) & 0xFFFFFFFFL);
    }

    Maker text(int field, String value) {
      return bytes(field, value.getBytes(StandardCharsets.UTF_8));
    }

    Maker bytes(int field, byte[] value) {
      varint(field << 3 | DELIMITED);
      return delimited(value);
    }

    /** A whole message that is not within another. */
    Maker delimited(byte[] message) {
      varint(message.length);
      bytes.write(message, 0, message.length);
      return this;
    }

    private Maker varint(long value) {
      long left = value;
      while ((left & ~0x7FL) != 0) {
        bytes.write((int) (left & 0x7F | 0x80));
        left >>>= 7;
      }
      bytes.write((int) left);
      return this;
    }

    byte[] made() {
      return bytes.toByteArray();
    }
  }

  /** A message that was read; of a field that comes more than once the last. */
  static final class Message {
    private final Map<Integer, Long> numbers = new HashMap<>();
    private final Map<Integer, byte[]> bytes = new HashMap<>();

    /**
     * Reads a message.
     *
     * @throws IOException if it is none
     */
    Message(byte[] message) throws IOException {
      ByteBuffer in = ByteBuffer.wrap(message);
      while (in.hasRemaining()) {
        long tag = varint(in);
        int field = (int) (tag >>> 3);
        switch ((int) tag & 7) {
          case VARINT:
            numbers.put(field, varint(in));
            break;
          case DELIMITED:
            bytes.put(field, delimited(in));
            break;
          case FIXED64:
            take(in, Long.BYTES);
            break;
          case FIXED32:
            take(in, Integer.BYTES);
            break;
          default:
            throw new IOException("no field begins with " + tag);
        }
      }
    }

    long number(int field, long otherwise) {
      return numbers.getOrDefault(field, otherwise);
    }

    String text(int field, String otherwise) {
      byte[] value = bytes.get(field);
      return value == null ? otherwise : new String(value, StandardCharsets.UTF_8);
    }

    /** A message within this one; null if there is none. */
    Message message(int field) throws IOException {
      byte[] value = bytes.get(field);
      return value == null ? null : new Message(value);
    }
  }

  /** Takes bytes that begin with their number. */
  static byte[] delimited(ByteBuffer in) throws IOException {
    return take(in, varint(in));
  }

  private static byte[] take(ByteBuffer in, long length) throws IOException {
    if (length < 0 || length > in.remaining()) {
      throw new EOFException("it ends within a field");
    }
    byte[] bytes = new byte[(int) length];
    in.get(bytes);
    return bytes;
  }

  private static long varint(ByteBuffer in) throws IOException {
    long value = 0;
    for (int shift = 0; shift < Long.SIZE; shift += 7) {
      take1(in);
      byte next = in.get();
      value |= (next & 0x7FL) << shift;
      if (next >= 0) {
        return value;
      }
    }
    throw new IOException("a number is too long");
  }

  private static void take1(ByteBuffer in) throws IOException {
    if (!in.hasRemaining()) {
      throw new EOFException("it ends within a number");
    }
  }
}
