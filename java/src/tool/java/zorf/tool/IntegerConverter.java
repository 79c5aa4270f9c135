package zorf.tool;

import picocli.CommandLine.ITypeConverter;
import picocli.CommandLine.TypeConversionException;

/** Picocli's own converter tells of Java's types: "not an int". */
final class IntegerConverter implements ITypeConverter<Integer> {
  @Override
  public Integer convert(String text) {
    if (!text.matches("-?[0-9]+")) {
      throw new TypeConversionException("'" + text + "' is no whole number");
    }
    try {
      return Integer.valueOf(text);
    } catch (NumberFormatException e) {
      throw new TypeConversionException("'" + text + "' is too large");
    }
  }
}
