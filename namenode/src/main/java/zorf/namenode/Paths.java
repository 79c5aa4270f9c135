package zorf.namenode;

import org.apache.hadoop.fs.InvalidPathException;

/** Clients' paths: which of them there can be, and their parts. */
final class Paths {
  private static final int MAX_LENGTH = 8000;
  private static final int MAX_COMPONENTS = 1000;
  private static final int SHOWN = 40;

  private Paths() {}

  /**
   * A path without the one slash that clients may leave at its end.
   *
   * @throws InvalidPathException if it is no path of a file
   */
  static String clean(String path) {
    boolean slash = path.length() > 2 && path.endsWith("/");
    String clean = slash ? path.substring(0, path.length() - 1) : path;
    check(clean);
    return clean;
  }

  /**
   * Refuses what is no path of a file.
   *
   * @throws InvalidPathException with the reason
   */
  static void check(String path) {
    if (path.length() > MAX_LENGTH) {
      throw new InvalidPathException(
          path.substring(0, SHOWN) + "...", "it is longer than " + MAX_LENGTH + " characters");
    }
    if (path.isEmpty() || path.charAt(0) != '/') {
      throw new InvalidPathException(path, "it is not absolute");
    }
    if (path.length() == 1) {
      return;
    }
    if (path.startsWith("/.reserved") && (path.length() == 10 || path.charAt(10) == '/')) {
      throw new UnsupportedOperationException(path + ": /.reserved is not supported on zorf");
    }
    int components = 0;
    for (int start = 1; start <= path.length(); components++) {
      int slash = path.indexOf('/', start);
      int end = slash < 0 ? path.length() : slash;
      checkComponent(path, start, end);
      start = end + 1;
    }
    if (components > MAX_COMPONENTS) {
      throw new InvalidPathException(
          path.substring(0, SHOWN) + "...", "it has more than " + MAX_COMPONENTS + " components");
    }
  }

  private static void checkComponent(String path, int start, int end) {
    int length = end - start;
    if (length == 0) {
      throw new InvalidPathException(path, "it has an empty component");
    }
    if (path.charAt(start) == '.' && (length == 1 || length == 2 && path.charAt(start + 1) == '.')) {
      throw new InvalidPathException(path, "it has the component " + path.substring(start, end));
    }
    if (length == 9 && path.startsWith(".snapshot", start)) {
      throw new UnsupportedOperationException(path + ": .snapshot is not supported on zorf");
    }
    for (int i = start; i < end; i++) {
      char letter = path.charAt(i);
      if (letter == '\0') {
        throw new InvalidPathException(path.replace('\0', '?'), "it has a NUL character");
      }
      if (Character.isSurrogate(letter)) {
        if (!Character.isHighSurrogate(letter)
            || i + 1 == end
            || !Character.isLowSurrogate(path.charAt(i + 1))) {
          throw new InvalidPathException(
              path.replace(letter, '?'), "it has half of a surrogate pair");
        }
        i++;
      }
    }
  }

  /** {@return the path of the directory that a path is in; null for the root} */
  static String parent(String path) {
    int slash = path.lastIndexOf('/');
    if (path.length() == 1) {
      return null;
    }
    return slash == 0 ? "/" : path.substring(0, slash);
  }

  /** {@return the last component, empty for the root} */
  static String name(String path) {
    return path.substring(path.lastIndexOf('/') + 1);
  }

  /** {@return the path of a name in a directory} */
  static String child(String directory, String name) {
    return directory.length() == 1 ? "/" + name : directory + "/" + name;
  }

  /** {@return whether a path is below a directory} */
  static boolean isBelow(String path, String directory) {
    return directory.length() == 1
        ? path.length() > 1
        : path.length() > directory.length()
            && path.startsWith(directory)
            && path.charAt(directory.length()) == '/';
  }

  /** {@return whether the natives can be given the path: they take no character beyond U+FFFF} */
  static boolean isForNatives(String path) {
    for (int i = 0; i < path.length(); i++) {
      if (Character.isSurrogate(path.charAt(i))) {
        return false;
      }
    }
    return true;
  }
}
