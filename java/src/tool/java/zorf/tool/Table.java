package zorf.tool;

import java.io.PrintStream;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;

/** Rows of text in columns that are as wide as they must be. */
final class Table {
  private static final String GAP = "   ";

  private final List<String[]> rows = new ArrayList<>();
  private final boolean[] right;

  /**
   * Starts a table with its header row.
   *
   * @param headers one per column; one that starts with ">" stands for a column that ends flush
   */
  Table(String... headers) {
    right = new boolean[headers.length];
    String[] names = headers.clone();
    for (int i = 0; i < names.length; i++) {
      right[i] = names[i].startsWith(">");
      names[i] = right[i] ? names[i].substring(1) : names[i];
    }
    rows.add(names);
  }

  /** Adds a row of as many cells as there are columns. */
  void row(String... cells) {
    if (cells.length != right.length) {
      throw new IllegalArgumentException(Arrays.toString(cells));
    }
    rows.add(cells);
  }

  /** The number of rows below the header. */
  int size() {
    return rows.size() - 1;
  }

  void print(PrintStream out) {
    int[] widths = new int[right.length];
    for (String[] row : rows) {
      for (int i = 0; i < row.length; i++) {
        widths[i] = Math.max(widths[i], row[i].length());
      }
    }
    for (String[] row : rows) {
      StringBuilder line = new StringBuilder();
      for (int i = 0; i < row.length; i++) {
        line.append(i == 0 ? "" : GAP);
        String fill = repeat(" ", widths[i] - row[i].length());
        line.append(right[i] ? fill + row[i] : row[i] + fill);
      }
      out.println(line.toString().replaceFirst(" +$", ""));
    }
  }

  /** {@code text} so many times. */
  static String repeat(String text, int times) {
    StringBuilder all = new StringBuilder();
    for (int i = 0; i < times; i++) {
      all.append(text);
    }
    return all.toString();
  }
}
