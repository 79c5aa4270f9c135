package zorf.namenode;

import java.io.File;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFileAttributeView;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.Comparator;
import java.util.HashSet;
import java.util.List;
import java.util.Set;
import java.util.stream.Stream;
import org.apache.hadoop.conf.Configuration;

/** The service in this process, on a directory below the system property {@code zorf.suites.scratch}. */
public final class ScratchService implements AutoCloseable {
  private final NameNode nameNode;

  private ScratchService(NameNode nameNode) {
    this.nameNode = nameNode;
  }

  /** A directory for one service at a time, which outlives the service. */
  public static final class Place {
    private static final Set<Path> TAKEN = new HashSet<>();

    private final Path root;

    private Place(Path root) {
      this.root = root;
    }

    /** Makes it the root that a new HDFS has. */
    public void empty() throws IOException {
      if (Files.exists(root)) {
        try (Stream<Path> paths = Files.walk(root)) {
          for (Path path : (Iterable<Path>) paths.sorted(Comparator.reverseOrder())::iterator) {
            Files.delete(path);
          }
        }
      }
      Files.createDirectories(root);
      Files.setPosixFilePermissions(root, PosixFilePermissions.fromString("rwxr-xr-x"));
      Files.getFileAttributeView(root, PosixFileAttributeView.class, LinkOption.NOFOLLOW_LINKS)
          .setGroup(
              root.getFileSystem()
                  .getUserPrincipalLookupService()
                  .lookupPrincipalByGroupName("supergroup"));
    }

    public void free() {
      synchronized (TAKEN) {
        TAKEN.remove(root);
      }
    }
  }

  /** Takes the first directory that no running service has; one of its own for each that is named. */
  public static Place place(File named) {
    Path scratch = Path.of(System.getProperty("zorf.suites.scratch"));
    String name = named == null ? "root" : "root-" + Integer.toHexString(named.hashCode());
    synchronized (TAKEN()) {
      Path root = scratch.resolve(name);
      for (int i = 2; !TAKEN().add(root); i++) {
        root = scratch.resolve(name + "-" + i);
      }
      return new Place(root);
    }
  }

  private static Set<Path> TAKEN() {
    return Place.TAKEN;
  }

  public static ScratchService start(Place place, Configuration configuration, int port)
      throws IOException {
    if (!Files.exists(place.root)) {
      place.empty();
    }
    List<String> arguments =
        List.of("--root", place.root.toString(), "--port", Integer.toString(port));
    try {
      NameNode nameNode =
          new NameNode(
              Options.parse(arguments.toArray(new String[0])), new Configuration(configuration));
      nameNode.start();
      return new ScratchService(nameNode);
    } catch (Options.Wrong e) {
      throw new IllegalArgumentException(e);
    } catch (InterruptedException e) {
      Thread.currentThread().interrupt();
      throw new IOException(e);
    }
  }

  public int port() {
    return nameNode.address().getPort();
  }

  @Override
  public void close() {
    nameNode.close();
  }
}
