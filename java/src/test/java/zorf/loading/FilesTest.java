package zorf.loading;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.BufferedReader;
import java.io.IOException;
import java.io.InputStreamReader;
import java.io.RandomAccessFile;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.Path;
import java.nio.file.attribute.FileTime;
import java.nio.file.attribute.PosixFilePermissions;
import java.time.Instant;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Map;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/** Real files, asked about through a real load. */
class FilesTest {
  @TempDir Path directory;
  private Path file;
  private Path link;

  @BeforeEach
  void makeFiles() throws IOException {
    file = directory.resolve("file");
    Files.write(file, "some text".getBytes(StandardCharsets.UTF_8));
    Files.setPosixFilePermissions(file, PosixFilePermissions.fromString("rwxr-x--x"));
    Files.setLastModifiedTime(file, FileTime.from(Instant.parse("2001-02-03T04:05:06.123456789Z")));
    link = Files.createSymbolicLink(directory.resolve("link"), file);
  }

  private static List<String> run(String... steps) throws Exception {
    return new ChildJvm().levels("fatal").run(steps).lines();
  }

  /** The line that a status step prints of a path. */
  private static String status(String step, Path path, LinkOption... options) throws IOException {
    Map<String, Object> is = Files.readAttributes(path, "unix:*", options);
    return step
        + " "
        + is.get("ino")
        + " "
        + is.get("mode")
        + " "
        + is.get("size")
        + " "
        + is.get("uid")
        + " "
        + is.get("gid")
        + " "
        + ((FileTime) is.get("lastAccessTime")).toInstant()
        + " "
        + ((FileTime) is.get("lastModifiedTime")).toInstant()
        + " "
        + ((FileTime) is.get("ctime")).toInstant();
  }

  @Test
  void aStatusAgreesWithWhatJavaItselfSees() throws Exception {
    List<String> lines =
        run("status=" + file, "status=" + directory, "status=" + link, "linkstatus=" + link);
    assertEquals(
        Arrays.asList(
            status("status", file),
            status("status", directory),
            status("status", file),
            status("linkstatus", link, LinkOption.NOFOLLOW_LINKS)),
        lines);
  }

  @Test
  void linksAndInodesAreRead() throws Exception {
    Object inode = Files.getAttribute(file, "unix:ino");
    assertEquals(
        Arrays.asList("inum " + inode, "inum " + inode, "link " + file),
        run("inum=" + file, "inum=" + link, "link=" + link));
  }

  @Test
  void missingFilesAreNoSuchFiles() throws Exception {
    Path missing = directory.resolve("missing");
    Path below = file.resolve("below");
    String missingText = "throws java.nio.file.NoSuchFileException: No such file or directory: ";
    assertEquals(
        Arrays.asList(
            "status " + missingText + missing,
            "status " + missingText + below,
            "inum " + missingText + "stat failed for " + missing,
            "inum throws java.io.IOException: Not a directory: stat failed for " + below),
        run("status=" + missing, "status=" + below, "inum=" + missing, "inum=" + below));
  }

  @Test
  void policyNamesAreKnown() throws Exception {
    assertEquals(
        Arrays.asList(
            "policy 0", "policy 1", "policy 2", "policy 3", "policy 0", "policy 2", "policy -1"),
        run(
            "policy=local,0",
            "policy=shared,0",
            "policy=rackaware,0",
            "policy=rackaware-sort,0",
            "policy=,0",
            "policy=rack,0",
            "policy=elsewhere,0"));
  }

  @Test
  void blocksOfASparseFileFollowThePolicy() throws Exception {
    long mebi = 1 << 20;
    Path big = directory.resolve("big");
    try (RandomAccessFile sparse = new RandomAccessFile(big.toFile(), "rw")) {
      sparse.setLength(1000 * mebi);
    }
    List<String> steps = new ArrayList<>();
    for (String policy : new String[] {"local", "shared", "rackaware", "rackaware-sort"}) {
      steps.add("policy=" + policy + "," + 128 * mebi);
      steps.add("blocksize=" + big);
      steps.add("blocks=" + big + "," + mebi + "," + 2000 * mebi);
    }
    List<String> lines = run(steps.toArray(new String[0]));
    String range = " with 2 replicas for " + 999 * mebi + " bytes at " + mebi;
    assertEquals("policy 0", lines.get(0));
    assertEquals("blocksize " + 4 * mebi, lines.get(1));
    assertEquals("blocks 250 blocks of " + 4 * mebi + " bytes" + range, head(lines.get(2)));
    assertEquals("policy 1", lines.get(3));
    assertEquals("blocksize " + 128 * mebi, lines.get(4));
    assertEquals("blocks 0 blocks of " + 128 * mebi + " bytes" + range, lines.get(5));
    assertEquals("policy 2", lines.get(6));
    assertEquals("blocksize " + 128 * mebi, lines.get(7));
    assertEquals("blocks 8 blocks of " + 128 * mebi + " bytes" + range, head(lines.get(8)));
    assertEquals("policy 3", lines.get(9));
    assertEquals("blocksize " + 128 * mebi, lines.get(10));
    assertEquals("blocks 8 blocks of " + 128 * mebi + " bytes" + range, head(lines.get(11)));
    // Both start with the block that holds offset 0.
    assertEquals(lines.get(2).split("\\[")[1], lines.get(8).split("\\[")[1]);
    // The sort gives counts, the larger one first when there are more locations than replicas.
    String[] counts = lines.get(11).split("\\[")[2].replace("]", "").split(", ");
    long unit = blockSizeOf(big);
    int first = Integer.parseInt(counts[0]);
    assertTrue(first >= Integer.parseInt(counts[1]), lines.get(11));
    assertTrue(first <= 128 * mebi / unit, lines.get(11));
  }

  /** The file system's block size as stat(1) reports it. */
  private static long blockSizeOf(Path path) throws IOException {
    Process stat = new ProcessBuilder("stat", "-c", "%o", path.toString()).start();
    try (BufferedReader out =
        new BufferedReader(new InputStreamReader(stat.getInputStream(), StandardCharsets.UTF_8))) {
      return Long.parseLong(out.readLine());
    }
  }

  private static String head(String line) {
    return line.substring(0, line.indexOf(" ["));
  }

  @Test
  void aBlockGroupFactorSetsTheBlockSize() throws Exception {
    long unit = blockSizeOf(file);
    assertEquals(
        Arrays.asList(
            "policy 2",
            "blocksize 1048576",
            "setbgf true",
            "blocksize " + 24 * unit,
            "policy 0",
            "blocksize 4194304"),
        run(
            "policy=rackaware,1048576",
            "blocksize=" + file,
            "setbgf=" + file + ",24",
            "blocksize=" + file,
            "policy=local,0",
            "blocksize=" + file));
  }

  @Test
  void aDirectoryHasNoBlocks() throws Exception {
    assertEquals(
        Arrays.asList(
            "policy 3",
            "blocks 0 blocks of 0 bytes with 0 replicas for 0 bytes at 0",
            "blocksize 0"),
        run(
            "policy=rackaware-sort,1048576",
            "blocks=" + directory + ",5,6",
            "blocksize=" + directory));
  }
}
