package org.apache.hadoop.hdfs.server.namenode.zorf;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.time.DateTimeException;
import java.time.Instant;
import java.util.Arrays;

/**
 * Where the fields lie in a raw status record. The record belongs to the machine's architecture, so
 * it is only ever read through the table that the native library gives:
 *
 * <pre>{@code
 * StatusLayout layout = new StatusLayout(ZORFNative.getFileStatusFormatNative());
 * FileStatus status = layout.decode(ZORFNative.getFileStatusNative("/zorf/a", true));
 * }</pre>
 */
public final class StatusLayout {
  /** The fields in the order of the table; the last pair holds the length of the record. */
  private enum Field {
    INODE,
    MODE,
    SIZE,
    ACCESS_TIME,
    MODIFICATION_TIME,
    CHANGE_TIME,
    UID,
    GID,
    END
  }

  private static final int TABLE_LENGTH = 2 * Field.values().length;

  private final int[] table;

  /**
   * Checks a table and keeps a copy of it.
   *
   * @param table nine pairs of byte offset and size, as from {@code getFileStatusFormatNative}
   * @throws IllegalArgumentException if the table has another length, a field of a size that no
   *     integer or time has, or a field that reaches beyond the record
   */
  public StatusLayout(int[] table) {
    if (table.length != TABLE_LENGTH) {
      throw new IllegalArgumentException(
          "layout table of " + table.length + " integers instead of " + TABLE_LENGTH);
    }
    this.table = table.clone();
    if (size(Field.END) != 0 || recordLength() < 0) {
      throw new IllegalArgumentException("bad end marker in layout table " + this);
    }
    for (Field field : Field.values()) {
      check(field);
    }
  }

  private void check(Field field) {
    int size = size(field);
    boolean time =
        field == Field.ACCESS_TIME
            || field == Field.MODIFICATION_TIME
            || field == Field.CHANGE_TIME;
    int integer = time ? size / 2 : size;
    boolean sizeKnown = integer == Integer.BYTES || integer == Long.BYTES;
    if (field != Field.END && !(sizeKnown && (!time || size == 2 * integer))) {
      throw new IllegalArgumentException(field + " has a size of " + size + " bytes");
    }
    if (offset(field) < 0 || (long) offset(field) + size > recordLength()) {
      throw new IllegalArgumentException(
          field + " lies outside of a record of " + recordLength() + " bytes");
    }
  }

  /** {@return the length in bytes of a raw status record} */
  public int recordLength() {
    return offset(Field.END);
  }

  /**
   * Decodes a raw status record.
   *
   * @param record the bytes of {@code getFileStatusNative}
   * @return the status
   * @throws IllegalArgumentException if the length is not {@link #recordLength()} or a time is out
   *     of the range of {@link Instant}
   */
  public FileStatus decode(byte[] record) {
    if (record.length != recordLength()) {
      throw new IllegalArgumentException(
          "status record of " + record.length + " bytes instead of " + recordLength());
    }
    return decodePrefix(record);
  }

  /** Decodes the record that {@code bytes} begins with. */
  FileStatus decodePrefix(byte[] bytes) {
    if (bytes.length < recordLength()) {
      throw new IllegalArgumentException(
          "status record of " + bytes.length + " bytes instead of " + recordLength());
    }
    ByteBuffer record = ByteBuffer.wrap(bytes).order(ByteOrder.nativeOrder());
    return new FileStatus(
        integer(record, Field.INODE),
        (int) integer(record, Field.MODE),
        integer(record, Field.SIZE),
        time(record, Field.ACCESS_TIME),
        time(record, Field.MODIFICATION_TIME),
        time(record, Field.CHANGE_TIME),
        unsigned(record, Field.UID),
        unsigned(record, Field.GID));
  }

  private int offset(Field field) {
    return table[2 * field.ordinal()];
  }

  private int size(Field field) {
    return table[2 * field.ordinal() + 1];
  }

  private static long read(ByteBuffer record, int offset, int size) {
    return size == Integer.BYTES ? record.getInt(offset) : record.getLong(offset);
  }

  private long integer(ByteBuffer record, Field field) {
    return read(record, offset(field), size(field));
  }

  private long unsigned(ByteBuffer record, Field field) {
    long value = integer(record, field);
    return size(field) == Integer.BYTES ? Integer.toUnsignedLong((int) value) : value;
  }

  private Instant time(ByteBuffer record, Field field) {
    int half = size(field) / 2;
    long seconds = read(record, offset(field), half);
    long nanoseconds = read(record, offset(field) + half, half);
    try {
      return Instant.ofEpochSecond(seconds, nanoseconds);
    } catch (DateTimeException | ArithmeticException e) {
      throw new IllegalArgumentException(field + " of " + seconds + " seconds", e);
    }
  }

  /** {@return the integers of the table} */
  @Override
  public String toString() {
    return Arrays.toString(table);
  }
}
