package zorf.tool;

import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.nio.file.DirectoryIteratorException;
import java.nio.file.DirectoryStream;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.util.ArrayList;
import java.util.Collections;
import java.util.Deque;
import java.util.List;

/**
 * What lies in directories. A name there is any bytes, which Java keeps in a Path; but the library
 * is given text: names that are not UTF-8 get lost on the way to it, and it takes the characters
 * above U+FFFF for others.
 */
final class Tree {
  static final String NOT_ASKABLE =
      "the library can't be asked about names that are not UTF-8 or have characters above U+FFFF";

  /** What Java reads where there is no UTF-8. */
  private static final char REPLACED = '\uFFFD';

  private Tree() {}

  /** The entries of a directory in the order of their names. */
  static List<Path> entries(Path directory) {
    List<Path> entries = new ArrayList<>();
    try (DirectoryStream<Path> stream = Files.newDirectoryStream(directory)) {
      stream.forEach(entries::add);
    } catch (DirectoryIteratorException | IOException e) {
      IOException cause =
          e instanceof IOException ? (IOException) e : ((DirectoryIteratorException) e).getCause();
      throw new Failure(text(directory) + ": can't be listed: " + Failure.reason(cause), e);
    }
    Collections.sort(entries);
    return entries;
  }

  /** Puts the entries of a directory, but not links, so that the first comes off first. */
  static void below(Path directory, Deque<Path> open, LinkOption... options) {
    if (!Files.isDirectory(directory, options)) {
      return;
    }
    List<Path> entries = entries(directory);
    Collections.reverse(entries);
    for (Path entry : entries) {
      if (!Files.isSymbolicLink(entry)) {
        open.push(entry);
      }
    }
  }

  /** Whether the library finds under the text of a path what the path stands for. */
  static boolean askable(Path path) {
    String text = path.toString();
    // A name may have the replacement character itself.
    return !mangled(text.replace(REPLACED, '?')) && Paths.get(text).equals(path);
  }

  /** Whether a path may come to the library as another one. */
  static boolean mangled(String path) {
    return path.chars().anyMatch(c -> c == REPLACED || Character.isSurrogate((char) c));
  }

  static void requireAskable(Path path) {
    if (!askable(path)) {
      throw new Failure(text(path) + ": " + NOT_ASKABLE);
    }
  }

  /** The path's bytes as text; what is not UTF-8 or not printable as three octal digits. */
  static String text(Path path) {
    return Bytes.escape(bytes(path), "\\", "");
  }

  /** The bytes of a path. Java tells them in a URI only, and that is of the absolute path. */
  static byte[] bytes(Path path) {
    String uri = uri(path);
    if (!path.isAbsolute()) {
      String here = uri(Paths.get(""));
      uri = uri.substring(here.equals("/") ? 1 : here.length() + 1);
    }
    ByteArrayOutputStream bytes = new ByteArrayOutputStream();
    for (int i = 0; i < uri.length(); i++) {
      boolean coded = uri.charAt(i) == '%';
      bytes.write(coded ? Integer.parseInt(uri.substring(i + 1, i + 3), 16) : uri.charAt(i));
      i += coded ? 2 : 0;
    }
    return bytes.toByteArray();
  }

  private static String uri(Path path) {
    String uri = path.toUri().getRawPath();
    // Directories end in "/".
    return uri.length() > 1 && uri.endsWith("/") ? uri.substring(0, uri.length() - 1) : uri;
  }
}
