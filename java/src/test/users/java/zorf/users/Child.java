package zorf.users;

import java.io.IOException;
import java.nio.file.FileSystem;
import java.nio.file.FileSystems;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.concurrent.TimeUnit;
import java.util.stream.Stream;

/**
 * Runs {@link Constrained} in a JVM of its own that has fewer rights, with copies of the jars and
 * libraries where every user may read them.
 */
final class Child {
  private static final int TIMEOUT_SECONDS = 120;

  private final Path directory;
  private final List<String> command = new ArrayList<>();

  /** A child of this command, such as "setpriv --clear-groups". */
  Child(String... wrapper) throws IOException {
    directory = Files.createTempDirectory("child");
    Files.setPosixFilePermissions(directory, PosixFilePermissions.fromString("rwxr-xr-x"));
    List<String> classpath = new ArrayList<>();
    for (String jar : System.getProperty("zorf.test.classpath").split(":")) {
      classpath.add(copy(Paths.get(jar)));
    }
    Path library = Paths.get(System.getProperty("zorf.library"));
    copy(library.resolveSibling("libzorf.so"));
    command.addAll(Arrays.asList(wrapper));
    command.add(System.getProperty("java.home") + "/bin/java");
    command.add("-XX:TieredStopAtLevel=1");
    command.add("-XX:-UsePerfData");
    command.add("-Dzorf.library=" + copy(library));
    command.add(
        "-Dorg.apache.commons.logging.Log=" + System.getProperty("org.apache.commons.logging.Log"));
    command.add("-cp");
    command.add(String.join(":", classpath));
    command.add(Constrained.class.getName());
  }

  /** Has the classes of the jar in a directory that only root may read, where each is a file. */
  Child withPrivateClasses(String jar) throws IOException {
    Path classes = Files.createDirectory(directory.resolve("classes"));
    Path packed = directory.resolve(jar);
    try (FileSystem archive = FileSystems.newFileSystem(packed, (ClassLoader) null);
        Stream<Path> entries = Files.walk(archive.getPath("/"))) {
      for (Path entry : (Iterable<Path>) entries::iterator) {
        Path target = classes.resolve(entry.toString().substring(1));
        if (Files.isDirectory(entry)) {
          Files.createDirectories(target);
        } else {
          Files.copy(entry, target);
        }
      }
    }
    Files.setPosixFilePermissions(classes, PosixFilePermissions.fromString("rwx------"));
    command.replaceAll(word -> word.replace(packed.toString(), classes.toString()));
    return this;
  }

  private String copy(Path file) throws IOException {
    Path copy = directory.resolve(file.getFileName());
    Files.copy(file, copy);
    Files.setPosixFilePermissions(copy, PosixFilePermissions.fromString("r-xr-xr-x"));
    return copy.toString();
  }

  /** The lines that the child prints for its arguments. */
  List<String> run(String... arguments) throws IOException, InterruptedException {
    List<String> whole = new ArrayList<>(command);
    whole.addAll(Arrays.asList(arguments));
    Path out = directory.resolve("out");
    Path err = directory.resolve("err");
    Process process =
        new ProcessBuilder(whole).redirectOutput(out.toFile()).redirectError(err.toFile()).start();
    if (!process.waitFor(TIMEOUT_SECONDS, TimeUnit.SECONDS)) {
      process.destroyForcibly();
      throw new IOException("still runs after " + TIMEOUT_SECONDS + " s: " + whole);
    }
    if (process.exitValue() != 0) {
      throw new AssertionError(whole + ": " + Files.readAllLines(err));
    }
    return Files.readAllLines(out);
  }
}
