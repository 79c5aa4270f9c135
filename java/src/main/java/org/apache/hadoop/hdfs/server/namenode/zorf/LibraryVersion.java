package org.apache.hadoop.hdfs.server.namenode.zorf;

import java.io.EOFException;
import java.io.File;
import java.io.IOException;
import java.io.RandomAccessFile;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.charset.StandardCharsets;

/**
 * The versions of the jar and of the library, which belong together. Only files are read: the jar's
 * manifest, and the note that {@code libzorfhadoop.so} carries.
 */
public final class LibraryVersion {
  private static final int ELF_HEADER = 64;
  private static final int MAGIC = 0x7f454c46;
  private static final int CLASS_64 = 2;
  private static final int PROGRAM_HEADER = 56;
  private static final int PT_NOTE = 4;
  /** No notes of a library come near; what claims more is no library. */
  private static final int MOST = 1 << 16;
  private static final int NOTE_TYPE = 1;
  private static final byte[] OWNER = "zorfhadoop\0".getBytes(StandardCharsets.US_ASCII);

  private LibraryVersion() {}

  /**
   * The version of {@code zorfhadoop.jar}, from its manifest.
   *
   * @return such as "2.7.0", null if these classes come from elsewhere
   */
  public static String ofJar() {
    // No other jar has this package, as several may have ZORFNative's.
    Package own = LibraryVersion.class.getPackage();
    return own == null ? null : own.getImplementationVersion();
  }

  /**
   * The version in the note of a library's file, which need not be loaded.
   *
   * @param library the path of the file
   * @return such as "2.7.0", null if the file has no such note or is no library
   * @throws IOException if the file can't be read
   */
  public static String ofFile(String library) throws IOException {
    try (RandomAccessFile file = new RandomAccessFile(library, "r")) {
      ByteBuffer header = read(file, 0, ELF_HEADER);
      if (header.getInt(0) != MAGIC || header.get(4) != CLASS_64) {
        return null;
      }
      ByteOrder order = header.get(5) == 1 ? ByteOrder.LITTLE_ENDIAN : ByteOrder.BIG_ENDIAN;
      header.order(order);
      int count = Short.toUnsignedInt(header.getShort(56));
      ByteBuffer segments = read(file, header.getLong(32), count * PROGRAM_HEADER).order(order);
      for (int at = 0; at < segments.limit(); at += PROGRAM_HEADER) {
        if (segments.getInt(at) == PT_NOTE && segments.getLong(at + 48) <= 4) {
          long size = segments.getLong(at + 32);
          String version = note(read(file, segments.getLong(at + 8), size).order(order));
          if (version != null) {
            return version;
          }
        }
      }
      return null;
    } catch (EOFException | IndexOutOfBoundsException e) {
      return null;
    }
  }

  /**
   * What is to be said of the library that {@code ZORFNative} has just loaded.
   *
   * @param library its path, null if it was loaded by its name
   * @return one line if the versions of jar and library are known and differ, else null
   */
  public static String difference(String library) {
    try {
      String jar = ofJar();
      String path = library != null ? library : loaded(System.mapLibraryName("zorfhadoop"));
      String file = jar == null || path == null ? null : ofFile(path);
      if (file == null || file.equals(jar)) {
        return null;
      }
      return "zorfhadoop.jar is version "
          + jar
          + ", but "
          + path
          + " is version "
          + file
          + ": install jar and library of one version";
    } catch (IOException | RuntimeException e) {
      return null; // It is loaded all the same: this must not be what fails.
    }
  }

  /** The file that System.loadLibrary took: the first in the order in which it looks. */
  private static String loaded(String name) {
    for (String property : new String[] {"sun.boot.library.path", "java.library.path"}) {
      for (String directory : System.getProperty(property, "").split(File.pathSeparator)) {
        File file = new File(directory.isEmpty() ? "." : directory, name);
        if (file.exists()) {
          return file.getPath();
        }
      }
    }
    return null;
  }

  private static ByteBuffer read(RandomAccessFile file, long offset, long size)
      throws IOException {
    if (offset < 0 || offset > file.length() || size < 0 || size > MOST) {
      throw new EOFException();
    }
    byte[] bytes = new byte[(int) size];
    file.seek(offset);
    file.readFully(bytes);
    return ByteBuffer.wrap(bytes);
  }

  /** Our note's text, among notes whose parts are aligned to 4 bytes. */
  private static String note(ByteBuffer notes) {
    long at = 0;
    while (at < notes.limit()) {
      int head = (int) at;
      long name = Integer.toUnsignedLong(notes.getInt(head));
      long text = Integer.toUnsignedLong(notes.getInt(head + 4));
      long textAt = at + 12 + align(name);
      if (name == OWNER.length && notes.getInt(head + 8) == NOTE_TYPE && isOurs(notes, head + 12)) {
        return new String(notes.array(), (int) textAt, (int) text - 1, StandardCharsets.US_ASCII);
      }
      at = textAt + align(text);
    }
    return null;
  }

  private static boolean isOurs(ByteBuffer notes, int at) {
    for (int i = 0; i < OWNER.length; i++) {
      if (notes.get(at + i) != OWNER[i]) {
        return false;
      }
    }
    return true;
  }

  private static long align(long size) {
    return (size + 3) & ~3L;
  }
}
