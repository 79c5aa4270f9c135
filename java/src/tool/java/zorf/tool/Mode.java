package zorf.tool;

import java.util.function.IntSupplier;

/** A change of permission bits, in the words of chmod(1). */
final class Mode {
  static final int SET_ID = 06000;
  private static final int ALL = 07777;
  private static final int EXECUTE = 0111;
  private static final String FLAGS = "sst";

  private final String text;
  private final IntSupplier umask;

  /**
   * Reads a mode, octal or symbolic.
   *
   * @param umask the bits that a change keeps away from when it does not say whose they are
   */
  Mode(String text, IntSupplier umask) {
    String clause = "[ugoa]*([-+=]([rwxXst]*|[ugo]))+";
    if (!text.matches("[0-7]{1,4}|0[0-7]{4}|" + clause + "(," + clause + ")*")) {
      throw new IllegalArgumentException("'" + text + "' is no mode (such as 750, u+rwX,g-w,o=)");
    }
    this.text = text;
    this.umask = umask;
  }

  /** Whether it would set set-user-id or set-group-id. */
  boolean setsId() {
    return octal() ? (Integer.parseInt(text, 8) & SET_ID) != 0 : text.matches(".*[+=][rwxXt]*s.*");
  }

  private boolean octal() {
    return text.matches("[0-7]+");
  }

  /** What becomes of the mode of a file. A directory keeps set-id bits that are not mentioned. */
  int of(int mode, boolean directory) {
    if (octal()) {
      int value = Integer.parseInt(text, 8);
      return directory && text.length() < 5 ? value | mode & SET_ID : value;
    }
    int result = mode;
    for (String clause : text.split(",")) {
      int operator = clause.replaceFirst("[-+=].*", "").length();
      int affected = whose(clause.substring(0, operator));
      for (String change : clause.substring(operator).split("(?=[-+=])")) {
        result = apply(change.charAt(0), change.substring(1), affected, result, directory);
      }
    }
    return result;
  }

  private int apply(char operator, String what, int affected, int mode, boolean directory) {
    int value = value(what, mode, directory);
    int kept = directory ? SET_ID & ~value : 0;
    int reach = (affected != 0 ? affected : ~umask.getAsInt()) & ALL & ~kept;
    switch (operator) {
      case '+':
        return mode | value & reach;
      case '-':
        return mode & ~(value & reach);
      default:
        return mode & ((affected != 0 ? ~affected : 0) | kept) | value & reach;
    }
  }

  private static int whose(String letters) {
    return (letters.matches(".*[ua].*") ? 04700 : 0)
        | (letters.matches(".*[ga].*") ? 02070 : 0)
        | (letters.matches(".*[oa].*") ? 01007 : 0);
  }

  /** The bits of the letters for each of user, group and others. */
  private static int value(String letters, int mode, boolean directory) {
    int from = letters.isEmpty() ? -1 : "ogu".indexOf(letters.charAt(0));
    if (from >= 0) {
      return EXECUTE * (mode >> 3 * from & 7);
    }
    int value = 0;
    for (char letter : letters.toCharArray()) {
      switch (letter) {
        case 'X':
          value |= directory || (mode & EXECUTE) != 0 ? EXECUTE : 0;
          break;
        case 's':
          value |= SET_ID;
          break;
        case 't':
          value |= 01000;
          break;
        default:
          value |= EXECUTE << "xwr".indexOf(letter);
      }
    }
    return value;
  }

  /** The three bits before the permissions as getfacl(1) shows them, such as "--t". */
  static String flags(int mode) {
    StringBuilder flags = new StringBuilder("---");
    for (int i = 0; i < 3; i++) {
      if ((mode & 04000 >> i) != 0) {
        flags.setCharAt(i, FLAGS.charAt(i));
      }
    }
    return flags.toString();
  }

  /** The bits that {@link #flags(int)} shows. */
  static int flags(String flags) {
    int mode = 0;
    for (int i = 0; i < 3; i++) {
      mode |= flags.startsWith(FLAGS.substring(i, i + 1), i) ? 04000 >> i : 0;
    }
    return mode;
  }
}
