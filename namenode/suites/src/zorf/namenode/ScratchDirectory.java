package zorf.namenode;

import java.io.File;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFileAttributeView;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.Comparator;
import java.util.HashSet;
import java.util.Set;
import java.util.stream.Stream;

/**
 * A directory for one service at a time, which outlives the service; below that of the property {@code
 * zorf.suites.scratch}.
 */
public final class ScratchDirectory {
  private static final Set<Path> TAKEN = new HashSet<>();

  private final Path root;

  private ScratchDirectory(Path root) {
    this.root = root;
  }

  /** Takes the first directory that no running service has; one of its own for each that is named. */
  public static ScratchDirectory take(File named) {
    Path scratch = Path.of(System.getProperty("zorf.suites.scratch"));
    String name = named == null ? "root" : "root-" + Integer.toHexString(named.hashCode());
    synchronized (TAKEN) {
      Path root = scratch.resolve(name);
      for (int i = 2; !TAKEN.add(root); i++) {
        root = scratch.resolve(name + "-" + i);
      }
      return new ScratchDirectory(root);
    }
  }

  public void free() {
    synchronized (TAKEN) {
      TAKEN.remove(root);
    }
  }

  public boolean exists() {
    return Files.exists(root);
  }

  Path path() {
    return root;
  }

  /** Makes it the root that a new HDFS has. */
  public void empty() throws IOException {
    if (exists()) {
      try (Stream<Path> paths = Files.walk(root)) {
        for (Path path : (Iterable<Path>) paths.sorted(Comparator.reverseOrder())::iterator) {
          Files.delete(path);
        }
      }
    }
    Files.createDirectories(root);
    Files.setPosixFilePermissions(root, PosixFilePermissions.fromString("rwxr-xr-x"));
    Files.getFileAttributeView(root, PosixFileAttributeView.class)
        .setGroup(
            root.getFileSystem()
                .getUserPrincipalLookupService()
                .lookupPrincipalByGroupName("supergroup"));
  }
}
