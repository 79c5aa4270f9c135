package zorf.tool;

/** Which rows of a long table are shown: the first ones and a few at the end. */
final class Elision {
  private final long count;
  private final long atStart;
  private final long endFrom;

  /** Chooses {@code rows} of so many rows; 0 stands for all. */
  Elision(int rows, long count) {
    this.count = count;
    boolean all = rows == 0 || rows >= count;
    int atEnd = Math.min(4, rows / 3);
    atStart = all ? count : rows - atEnd;
    endFrom = all ? count : count - atEnd;
  }

  /** How many rows are shown. */
  long size() {
    return atStart + count - endFrom;
  }

  /** How many rows are shown at the start. */
  long atStart() {
    return atStart;
  }

  /** Where the rows at the end begin. */
  long endFrom() {
    return endFrom;
  }

  boolean shows(long row) {
    return row < atStart || row >= endFrom;
  }

  /** Whether this row is the first of those that are left out. */
  boolean elidesFrom(long row) {
    return row == atStart && row < endFrom;
  }
}
