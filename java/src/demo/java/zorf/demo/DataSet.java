package zorf.demo;

import java.io.IOException;
import java.io.RandomAccessFile;
import java.io.UncheckedIOException;
import java.nio.ByteBuffer;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.nio.file.attribute.PosixFilePermissions;
import java.nio.file.attribute.UserDefinedFileAttributeView;
import java.util.ArrayList;
import java.util.Comparator;
import java.util.LinkedHashSet;
import java.util.List;
import java.util.Set;
import java.util.stream.Collectors;
import java.util.stream.Stream;
import org.apache.hadoop.hdfs.server.namenode.ZORFNative;
import zorf.common.Table;

/** Sample files in a temporary directory of their own, deleted on {@link #close}. */
final class DataSet implements AutoCloseable {
  private static final long GIBI = 1L << 30;

  private final Path directory;
  private final List<Path> withoutAttributes;

  private DataSet(Path directory, List<Path> withoutAttributes) {
    this.directory = directory;
    this.withoutAttributes = withoutAttributes;
  }

  /** Makes the files in the first place for temporary files that can keep user attributes. */
  static DataSet create() throws IOException {
    Set<Path> places = new LinkedHashSet<>();
    places.add(Paths.get(System.getProperty("java.io.tmpdir")));
    places.add(Paths.get("/var/tmp"));
    places.add(Paths.get("").toAbsolutePath());
    List<Path> refused = new ArrayList<>();
    for (Path place : places) {
      if (!Files.isDirectory(place) || !Files.isWritable(place)) {
        continue;
      }
      DataSet files = new DataSet(Files.createTempDirectory(place, "zorf-demo-"), refused);
      Runtime.getRuntime().addShutdownHook(new Thread(files::close));
      try {
        if (files.keepsUserAttributes()) {
          files.fill();
          return files;
        }
      } catch (IOException | RuntimeException e) {
        files.close();
        throw e;
      }
      files.close();
      refused.add(place);
    }
    throw new IOException(
        "block group factors are kept in user extended attributes, and there are none on the file"
            + " systems of "
            + names(refused)
            + "; name another place with -Djava.io.tmpdir=DIRECTORY");
  }

  private static String names(List<Path> places) {
    return places.stream().map(Path::toString).collect(Collectors.joining(", "));
  }

  Path directory() {
    return directory;
  }

  /** The places that were passed over, for the reader to know; empty if there are none. */
  String remark() {
    return withoutAttributes.isEmpty()
        ? ""
        : "not in " + names(withoutAttributes) + ": no user extended attributes there";
  }

  private boolean keepsUserAttributes() {
    try {
      Files.getFileAttributeView(directory, UserDefinedFileAttributeView.class)
          .write("zorf.demo", ByteBuffer.wrap(new byte[] {1}));
      return true;
    } catch (IOException | RuntimeException e) {
      return false;
    }
  }

  private void fill() throws IOException {
    Path logs = Files.createDirectory(directory.resolve("logs"));
    permit(logs, "rwxr-x---");
    write("empty", "");
    permit(write("readme.txt", "Files to be asked about.\n"), "rw-r--r--");
    permit(write("run.sh", "#!/bin/sh\nexec true\n"), "rwxr-xr-x");
    permit(write("secret.key", Table.repeat("0123456789abcdef\n", 120)), "rw-------");
    Files.createSymbolicLink(directory.resolve("latest"), Paths.get("events-40g.dat"));
    sparse("events-40g.dat", 40 * GIBI);
    ZORFNative.setBGF(sparse("table-1g.dat", GIBI).toString(), 64);
    ZORFNative.setBGF(sparse("index-64m.dat", GIBI / 16).toString(), 3);
  }

  private Path write(String name, String text) throws IOException {
    return Files.write(directory.resolve(name), text.getBytes(StandardCharsets.UTF_8));
  }

  private Path sparse(String name, long size) throws IOException {
    Path path = directory.resolve(name);
    try (RandomAccessFile file = new RandomAccessFile(path.toFile(), "rw")) {
      file.setLength(size);
    }
    return path;
  }

  private static void permit(Path path, String permissions) throws IOException {
    Files.setPosixFilePermissions(path, PosixFilePermissions.fromString(permissions));
  }

  /** Deletes the files; what is gone already does not matter. */
  @Override
  public synchronized void close() {
    if (!Files.exists(directory)) {
      return;
    }
    try (Stream<Path> tree = Files.walk(directory)) {
      for (Path path : tree.sorted(Comparator.reverseOrder()).collect(Collectors.toList())) {
        Files.deleteIfExists(path);
      }
    } catch (IOException e) {
      throw new UncheckedIOException("can't delete " + directory, e);
    }
  }
}
