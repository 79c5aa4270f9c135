package zorf.tool;

import picocli.CommandLine.ITypeConverter;
import picocli.CommandLine.TypeConversionException;

/** Reads "4096", "128M", "1G": K, M, G and T are powers of 1024. */
final class SizeConverter implements ITypeConverter<Long> {
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
