package zorf.tool;

import java.util.Locale;
import picocli.CommandLine.ITypeConverter;
import picocli.CommandLine.TypeConversionException;

/** Numbers of bytes, for readers and from them. */
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

  /** Reads "4096", "128M", "1G": K, M, G and T are powers of 1024. */
  static final class Converter implements ITypeConverter<Long> {
    @Override
    public Long convert(String text) {
      if (!text.matches("[0-9]{1,19}[KMGTkmgt]?")) {
        throw refused(text);
      }
      int unit = "KMGT".indexOf(Character.toUpperCase(text.charAt(text.length() - 1))) + 1;
      String digits = unit == 0 ? text : text.substring(0, text.length() - 1);
      try {
        return Math.multiplyExact(Long.parseLong(digits), 1L << (10 * unit));
      } catch (NumberFormatException | ArithmeticException e) {
        throw refused(text);
      }
    }

    private static TypeConversionException refused(String text) {
      return new TypeConversionException(
          "'" + text + "' is no number of bytes (such as 4096, 64K, 128M, 1G)");
    }
  }
}
