package org.apache.hadoop.hdfs.server.namenode.zorf;

/** What kind of object a mode describes. */
public enum FileType {
  /** A regular file. */
  REGULAR(0100000, '-'),
  /** A directory. */
  DIRECTORY(0040000, 'd'),
  /** A symbolic link. */
  SYMBOLIC_LINK(0120000, 'l'),
  /** A block device. */
  BLOCK_DEVICE(0060000, 'b'),
  /** A character device. */
  CHARACTER_DEVICE(0020000, 'c'),
  /** A named pipe. */
  FIFO(0010000, 'p'),
  /** A socket. */
  SOCKET(0140000, 's'),
  /** A type that this class does not know. */
  UNKNOWN(0, '?');

  private static final int TYPE_BITS = 0170000;

  private final int bits;
  private final char symbol;

  FileType(int bits, char symbol) {
    this.bits = bits;
    this.symbol = symbol;
  }

  /**
   * Takes the type out of a mode.
   *
   * @param mode type and permission bits
   * @return the type, {@link #UNKNOWN} for bits without a meaning
   */
  public static FileType ofMode(int mode) {
    for (FileType type : values()) {
      if (type.bits == (mode & TYPE_BITS)) {
        return type;
      }
    }
    return UNKNOWN;
  }

  /** {@return the letter that starts a line of {@code ls -l}} */
  public char symbol() {
    return symbol;
  }
}
