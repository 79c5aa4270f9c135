package zorf.demo;

import java.util.Locale;

/** Numbers of bytes for readers. */
final class Sizes {
  private static final String[] UNITS = {"B", "KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};

  private Sizes() {}

  /** Such as "128 MiB", "1.9 KiB"; a decimal only where it is needed. */
  static String human(long bytes) {
    int unit = 0;
    long scale = 1;
    while (unit + 1 < UNITS.length && bytes / scale >= 1024) {
      scale <<= 10;
      unit++;
    }
    String number =
        bytes % scale == 0
            ? Long.toString(bytes / scale)
            : String.format(Locale.ROOT, "%.1f", (double) bytes / scale);
    return number + " " + UNITS[unit];
  }

  /** Such as "42,949,672,960". */
  static String exact(long bytes) {
    return String.format(Locale.ROOT, "%,d", bytes);
  }
}
