package zorf.tool;

import java.util.function.IntToDoubleFunction;

/** Texts that leave out their middle where there is no room for it: of a path both ends matter. */
final class Shortened {
  private Shortened() {}

  /** To so many columns of a terminal. */
  static String toColumns(String text, int columns, boolean unicode) {
    return shorten(text, columns, unicode ? "\u2026" : "...", Shortened::columns);
  }

  /** To a width that it takes at most when it is bold, in whatever font a picture is shown. */
  static String toWidth(String text, double width, double fontSize) {
    return shorten(text, width / fontSize, "\u2026", Shortened::ems);
  }

  /** How wide a text is at most when it is bold, in whatever font a picture is shown. */
  static double boldWidth(String text, double fontSize) {
    return fontSize * text.codePoints().mapToDouble(Shortened::ems).sum();
  }

  /** How wide a text is at most, in whatever font a picture is shown. */
  static double width(String text, double fontSize) {
    return 0.88 * boldWidth(text, fontSize);
  }

  private static double columns(int character) {
    return isWide(character) ? 2 : 1;
  }

  /** Widths of a wide sans-serif font in its bold weight; other fonts are narrower. */
  private static double ems(int character) {
    if (isWide(character)) {
      return 1.14;
    }
    if ("mwMW@%&".indexOf(character) >= 0 || character == 0x2026) {
      return 1.15;
    }
    if ("iljI.,:;'|!()[]/\\-ft \u00b7".indexOf(character) >= 0) {
      return 0.5;
    }
    return character < 0x80 && !Character.isUpperCase(character) ? 0.73 : 0.9;
  }

  private static boolean isWide(int character) {
    return character >= 0x1100 && !(character >= 0x1E00 && character < 0x2E80);
  }

  private static String shorten(
      String text, double room, String ellipsis, IntToDoubleFunction width) {
    int[] characters = text.codePoints().toArray();
    if (sum(characters, width) <= room) {
      return text;
    }
    double left = room - sum(ellipsis.codePoints().toArray(), width);
    int head = 0;
    int tail = characters.length;
    // The end gets two of three: it is the file's name.
    for (int step = 0; head < tail; step++) {
      int next = step % 3 == 0 ? characters[head] : characters[tail - 1];
      left -= width.applyAsDouble(next);
      if (left < 0) {
        break;
      }
      if (step % 3 == 0) {
        head++;
      } else {
        tail--;
      }
    }
    return new String(characters, 0, head)
        + ellipsis
        + new String(characters, tail, characters.length - tail);
  }

  private static double sum(int[] characters, IntToDoubleFunction width) {
    double sum = 0;
    for (int character : characters) {
      sum += width.applyAsDouble(character);
    }
    return sum;
  }
}
