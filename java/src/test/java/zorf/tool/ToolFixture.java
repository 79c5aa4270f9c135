package zorf.tool;

import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.RandomAccessFile;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.Arrays;
import java.util.List;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.io.TempDir;

/** Files to run the tool on, each run a process of its own. */
abstract class ToolFixture {
  private static final String RACKS = "rack 1: 11 12 13 14 15 16\nrack 2: 21 22 23 24 25 26\n";

  @TempDir Path directory;
  Launcher tool;

  @BeforeEach
  void makeFiles() throws Exception {
    Files.setPosixFilePermissions(directory, PosixFilePermissions.fromString("rwxr-xr-x"));
    Files.createDirectory(directory.resolve("logs"));
    write("logs/today", "a line\n");
    write("readme", "some text\n");
    write("racks", RACKS);
    try (RandomAccessFile sparse =
        new RandomAccessFile(directory.resolve("table").toFile(), "rw")) {
      sparse.setLength(1 << 30);
    }
    Files.createSymbolicLink(directory.resolve("link"), Paths.get("table"));
    permit("readme", "rw-r-----");
    permit("logs", "rwxr-xr-x");
    tool = new Launcher(directory);
  }

  void write(String name, String text) throws Exception {
    Files.write(directory.resolve(name), text.getBytes(StandardCharsets.UTF_8));
  }

  void permit(String name, String permissions) throws Exception {
    Files.setPosixFilePermissions(
        directory.resolve(name), PosixFilePermissions.fromString(permissions));
  }

  String works(String... arguments) throws Exception {
    return tool.run(arguments).works();
  }

  void fails(int status, String line, String... arguments) throws Exception {
    tool.run(arguments).fails(status, line);
  }

  static List<String> lines(String text) {
    return Arrays.asList(text.split("\n"));
  }

  static void contains(String text, String part) {
    assertTrue(text.contains(part), part + " in " + text);
  }
}
