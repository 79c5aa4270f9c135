package zorf.loading;

import static org.junit.jupiter.api.Assertions.assertEquals;

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
import java.util.Comparator;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/** Real files, asked about through a real load. */
class FilesTest {
  private static final long MEBI = 1 << 20;

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

  private Path sparse(String name, long size) throws IOException {
    Path path = directory.resolve(name);
    try (RandomAccessFile sparse = new RandomAccessFile(path.toFile(), "rw")) {
      sparse.setLength(size);
    }
    return path;
  }

  @Test
  void blocksOfASparseFileFollowThePolicy() throws Exception {
    Path big = sparse("big", 1000 * MEBI);
    List<String> steps = new ArrayList<>();
    for (String policy : new String[] {"local", "shared", "rackaware"}) {
      steps.add("policy=" + policy + "," + 128 * MEBI);
      steps.add("blocksize=" + big);
      steps.add("blocks=" + big + "," + MEBI + "," + 2000 * MEBI);
    }
    List<String> lines = run(steps.toArray(new String[0]));
    // Both lists start with the block that holds offset 0.
    String first = lines.get(2).substring(lines.get(2).indexOf(" ["));
    String range = " with 2 replicas for " + 999 * MEBI + " bytes at " + MEBI;
    assertEquals(
        Arrays.asList(
            "policy 0",
            "blocksize " + 4 * MEBI,
            "blocks 250 blocks of " + 4 * MEBI + " bytes" + range + first,
            "policy 1",
            "blocksize " + 128 * MEBI,
            "blocks 0 blocks of " + 128 * MEBI + " bytes" + range,
            "policy 2",
            "blocksize " + 128 * MEBI,
            "blocks 8 blocks of " + 128 * MEBI + " bytes" + range + first),
        lines);
  }

  @Test
  void sortedEntriesNameTheLocationsWithTheMostBlocks() throws Exception {
    int group = 32;
    Path big = sparse("big", 20_002 * MEBI); // more than one reply, and a last block in part
    List<String> lines =
        run(
            "policy=local,0",
            "entries=" + big + "," + 4 * MEBI,
            "policy=rackaware-sort," + group * 4 * MEBI,
            "blocksize=" + big,
            "entries=" + big + "," + 4 * MEBI);
    assertEquals("blocksize " + group * 4 * MEBI, lines.get(3));
    int[][] local = entries(lines.get(1));
    int[][] sorted = entries(lines.get(4));
    assertEquals(5001, local.length);
    assertEquals(157, sorted.length);
    for (int i = 0; i < sorted.length; i++) {
      Map<Integer, Integer> counts = new HashMap<>();
      for (int k = i * group; k < Math.min((i + 1) * group, local.length); k++) {
        counts.merge(local[k][0], 1, Integer::sum);
        counts.merge(local[k][1], 1, Integer::sum);
      }
      List<Integer> most = new ArrayList<>(counts.values());
      most.sort(Comparator.reverseOrder());
      int[] entry = sorted[i];
      assertEquals(counts.get(entry[0]), entry[2], "block " + i);
      assertEquals(counts.get(entry[1]), entry[3], "block " + i);
      assertEquals(most.subList(0, 2), Arrays.asList(entry[2], entry[3]), "block " + i);
    }
  }

  /** The words of each entry in the line of an entries step. */
  private static int[][] entries(String line) {
    return Arrays.stream(line.substring("entries ".length()).split(";"))
        .map(entry -> Arrays.stream(entry.trim().split(" ")).mapToInt(Integer::parseInt).toArray())
        .toArray(int[][]::new);
  }

  /** The file system's block size as stat(1) reports it. */
  private static long blockSizeOf(Path path) throws IOException {
    Process stat = new ProcessBuilder("stat", "-c", "%o", path.toString()).start();
    try (BufferedReader out =
        new BufferedReader(new InputStreamReader(stat.getInputStream(), StandardCharsets.UTF_8))) {
      return Long.parseLong(out.readLine());
    }
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
