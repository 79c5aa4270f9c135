package zorf.namenode;

import java.io.IOException;
import java.net.URI;
import java.net.URISyntaxException;
import java.nio.file.FileSystem;
import java.nio.file.FileSystems;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import java.util.Map;
import java.util.stream.Stream;

/**
 * Loads classes before threads act as users. Afterwards a class would be read as whoever happens to
 * need it first, and one that this user may not read is missing for everybody from then on.
 */
final class Classes {
  private static final String SUFFIX = ".class";

  private Classes() {}

  /** Loads all classes of the service, and opens all jars of the class path. */
  static void load() throws IOException {
    Classes.class.getClassLoader().getResources("there/is/no/such.file").hasMoreElements();
    try {
      URI own = Classes.class.getProtectionDomain().getCodeSource().getLocation().toURI();
      Path place = Path.of(own);
      if (Files.isDirectory(place)) {
        loadBelow(place);
        return;
      }
      try (FileSystem jar = FileSystems.newFileSystem(place, Map.of())) {
        loadBelow(jar.getPath("/"));
      }
    } catch (URISyntaxException e) {
      throw new IOException(e);
    }
  }

  private static void loadBelow(Path top) throws IOException {
    List<Path> found;
    try (Stream<Path> paths = Files.walk(top)) {
      found = paths.filter(path -> path.toString().endsWith(SUFFIX)).toList();
    }
    for (Path path : found) {
      String name = top.relativize(path).toString().replace('/', '.');
      try {
        Class.forName(name.substring(0, name.length() - SUFFIX.length()));
      } catch (ClassNotFoundException e) {
        throw new IOException(e);
      }
    }
  }
}
