package zorf.tool;

import java.util.Locale;

/** Numbers of bytes, for readers. */
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

  /** Such as "40,956 MiB": exact, in the largest unit that allows it. */
  static String offset(long bytes) {
    int unit = 0;
    while (bytes != 0 && unit + 1 < UNITS.length && bytes % 1024 == 0) {
      bytes /= 1024;
      unit++;
    }
    return exact(bytes) + " " + UNITS[unit];
  }

  /** Such as "1 block", "320 blocks". */
  static String count(long number, String noun) {
    return exact(number) + " " + noun + (number == 1 ? "" : "s");
  }

  /** Such as "42,949,672,960". */
  static String exact(long bytes) {
    return String.format(Locale.ROOT, "%,d", bytes);
  }
}
