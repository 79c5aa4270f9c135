package zorf.demo;

import java.io.IOException;
import java.io.PrintStream;
import java.nio.charset.Charset;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.NotDirectoryException;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.time.ZoneOffset;
import java.time.format.DateTimeFormatter;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.concurrent.Callable;
import java.util.stream.Collectors;
import java.util.stream.Stream;
import org.apache.hadoop.hdfs.server.namenode.ZORFNative;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockLocations;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockPolicy;
import org.apache.hadoop.hdfs.server.namenode.zorf.FileStatus;
import org.apache.hadoop.hdfs.server.namenode.zorf.FileType;
import org.apache.hadoop.hdfs.server.namenode.zorf.StatusLayout;
import zorf.common.Sizes;
import zorf.common.Table;

/**
 * Shows what the library tells a NameNode about files: their status, where the blocks of the
 * largest one lie under each placement policy, and what goes to the log. The files are those of the
 * directory that the argument names, or samples that are made and deleted.
 */
public final class Demo {
  private static final long DEFAULT_BLOCK_SIZE = 128L << 20;
  private static final DateTimeFormatter TIME =
      DateTimeFormatter.ofPattern("uuuu-MM-dd HH:mm:ss.SSSSSSSSS").withZone(ZoneOffset.UTC);

  private final PrintStream out;
  private final String bar;
  private final StatusLayout layout;
  /** What zorf's files have as block size; 0 where it is not known. */
  private long zorfBlockSize;

  private boolean failed;

  private Demo(Charset charset) throws IOException {
    out = new PrintStream(System.out, true, charset.name());
    bar = charset.newEncoder().canEncode('\u2587') ? "\u2587" : "#";
    layout = new StatusLayout(ZORFNative.getFileStatusFormatNative());
  }

  /**
   * Runs the demonstration; the exit status is 0 if everything worked.
   *
   * @param arguments at most one, a directory
   */
  public static void main(String[] arguments) {
    if (arguments.length > 1 || (arguments.length == 1 && arguments[0].startsWith("-"))) {
      System.err.println("usage: zorf.demo.Demo [DIRECTORY]");
      System.exit(1);
    }
    System.setProperty("org.apache.commons.logging.Log", CapturingLog.class.getName());
    boolean worked = false;
    try {
      Demo demo = new Demo(outputCharset());
      if (arguments.length == 1) {
        demo.showDirectory(Paths.get(arguments[0]));
      } else {
        demo.showSamples();
      }
      worked = !demo.failed;
    } catch (Exception | LinkageError e) {
      complain("", e);
    }
    System.exit(worked ? 0 : 1);
  }

  /** What the terminal or file behind System.out expects. */
  private static Charset outputCharset() {
    for (String name : new String[] {"stdout.encoding", "sun.stdout.encoding", "native.encoding"}) {
      String charset = System.getProperty(name);
      if (charset != null && Charset.isSupported(charset)) {
        return Charset.forName(charset);
      }
    }
    return Charset.defaultCharset();
  }

  private static void complain(String what, Throwable e) {
    Throwable cause = e instanceof ExceptionInInitializerError ? e.getCause() : e;
    String text = cause.getMessage() == null ? "" : ": " + cause.getMessage().replace('\n', ' ');
    System.err.println("demo: " + what + cause.getClass().getSimpleName() + text);
  }

  /** The result of one call of the library, or null after one line that says what failed. */
  private <T> T attempt(String what, Callable<T> call) {
    try {
      return call.call();
    } catch (Exception e) {
      failed = true;
      complain(what + ": ", e);
      return null;
    }
  }

  private void showSamples() throws IOException {
    try (DataSet samples = DataSet.create()) {
      if (!samples.remark().isEmpty()) {
        out.println("Samples in " + samples.directory() + " (" + samples.remark() + ")");
        out.println();
      }
      showDirectory(samples.directory());
    }
  }

  private void showDirectory(Path directory) throws IOException {
    List<String> loading = CapturingLog.take();
    if (!Files.isDirectory(directory)) {
      throw new NotDirectoryException(directory.toString());
    }
    List<Path> files;
    try (Stream<Path> entries = Files.list(directory)) {
      files = entries.sorted().collect(Collectors.toList());
    }
    Map<Path, byte[]> records = new LinkedHashMap<>();
    for (Path file : files) {
      byte[] record =
          attempt(
              "status of " + file, () -> ZORFNative.getFileStatusNative(file.toString(), false));
      if (record != null) {
        records.put(file, record);
      }
    }
    Path largest = largest(records);
    if (largest != null) {
      learnBlockSize(largest);
    }
    title("Status of " + Sizes.count(records.size(), "file") + " in " + directory);
    showStatus(records);
    if (largest == null) {
      out.println("\nThere is no regular file here, so there are no blocks to show.\n");
    } else {
      showBlocks(largest, records.get(largest));
    }
    title("What the library logged at debug while it was loaded");
    loading.removeIf(line -> !line.contains("JNI_OnLoad") && !line.contains("@init:"));
    loading.forEach(this::printLogLine);
    if (largest != null) {
      showLog(largest, records.get(largest));
    }
  }

  /** The largest regular file, null if there is none. */
  private Path largest(Map<Path, byte[]> records) {
    Path largest = null;
    long largestSize = -1;
    for (Map.Entry<Path, byte[]> entry : records.entrySet()) {
      FileStatus status = layout.decode(entry.getValue());
      if (status.type() == FileType.REGULAR && status.size() > largestSize) {
        largest = entry.getKey();
        largestSize = status.size();
      }
    }
    return largest;
  }

  private void learnBlockSize(Path file) {
    choose(BlockPolicy.LOCAL);
    Long size =
        attempt(
            "file system block size of " + file,
            () -> ZORFNative.getBlockSizeNative(file.toString(), null));
    zorfBlockSize = size == null ? 0 : size;
  }

  /** The record as it would be on zorf: on another file system only its block size differs. */
  private byte[] asOnZorf(byte[] record) {
    return zorfBlockSize > 0 ? StatusRecord.withBlockSize(record, zorfBlockSize) : record;
  }

  private void title(String text) {
    out.println(text);
    out.println(Table.repeat("-", text.length()));
  }

  private void showStatus(Map<Path, byte[]> records) {
    // Under this policy a file's block size is that of HDFS: by its block group factor if any.
    choose(BlockPolicy.RACKAWARE);
    Table table =
        new Table(
            ">inode",
            "mode",
            "",
            "owner",
            "group",
            ">size",
            ">HDFS block",
            "modified (UTC)",
            "name");
    for (Map.Entry<Path, byte[]> entry : records.entrySet()) {
      Path file = entry.getKey();
      FileStatus status = layout.decode(entry.getValue());
      table.row(
          Long.toUnsignedString(status.inode()),
          status.type().symbol() + status.permissionText(),
          status.permissionOctal(),
          nameOr(status.uid(), () -> ZORFNative.getUser((int) status.uid())),
          nameOr(status.gid(), () -> ZORFNative.getGroup((int) status.gid())),
          Sizes.exact(status.size()),
          status.type() == FileType.REGULAR ? blockSize(file, entry.getValue()) : "",
          TIME.format(status.modificationTime()),
          printable(file.getFileName() + target(file, status)));
    }
    table.print(out, "  ");
  }

  private String blockSize(Path file, byte[] record) {
    Long size =
        attempt(
            "block size of " + file,
            () -> ZORFNative.getBlockSizeNative(file.toString(), asOnZorf(record)));
    return size == null ? "?" : Sizes.human(size);
  }

  private String target(Path file, FileStatus status) {
    if (status.type() != FileType.SYMBOLIC_LINK) {
      return "";
    }
    byte[] target =
        attempt(
            "target of " + file,
            () -> ZORFNative.getLinkTargetNative(file.toString(), (int) status.size()));
    return " -> " + (target == null ? "?" : new String(target, StandardCharsets.UTF_8));
  }

  /** Without line ends and what else could confuse a terminal. */
  private static String printable(String name) {
    return name.replaceAll("\\p{Cntrl}", "?");
  }

  /** An id without a name is no failure: it is shown as it is. */
  private static String nameOr(long id, Callable<String> name) {
    try {
      return name.call();
    } catch (Exception e) {
      return Long.toString(id);
    }
  }

  private void choose(BlockPolicy policy) {
    int chosen = ZORFNative.getBlkCmd(policy.bytes(), DEFAULT_BLOCK_SIZE);
    if (chosen != policy.ordinal()) {
      throw new IllegalStateException("policy " + policy.text() + " gave " + chosen);
    }
  }

  private void showBlocks(Path file, byte[] record) {
    long size = layout.decode(record).size();
    out.println();
    title("Blocks of " + printable(file.getFileName().toString()) + ", " + Sizes.human(size));
    if (zorfBlockSize > 0 && StatusRecord.blockSize(record) != zorfBlockSize) {
      out.printf(
          "Asked with zorf's block size of %s in the status record; %s is this file system's.%n",
          Sizes.human(zorfBlockSize), Sizes.human(StatusRecord.blockSize(record)));
    }
    for (BlockPolicy policy : BlockPolicy.values()) {
      out.println();
      choose(policy);
      long start = System.nanoTime();
      BlockLocations locations =
          attempt(
              "blocks of " + file + " under " + policy.text(), () -> locations(file, size, record));
      double milliseconds = (System.nanoTime() - start) / 1e6;
      if (locations != null) {
        new BlockMap(policy, locations, milliseconds).print(out, bar);
      }
    }
    out.println();
  }

  private BlockLocations locations(Path file, long length, byte[] record) {
    return BlockLocations.decode(
        ZORFNative.getBlockLocationsNative(file.toString(), 0, length, asOnZorf(record)));
  }

  private void showLog(Path file, byte[] record) {
    long length = Math.min(layout.decode(record).size(), 1L << 30);
    choose(BlockPolicy.RACKAWARE_SORT);
    CapturingLog.take();
    out.println();
    title("... and while it was asked for the first " + Sizes.human(length));
    attempt("blocks of " + file, () -> locations(file, length, record));
    CapturingLog.take().forEach(this::printLogLine);
  }

  private void printLogLine(String line) {
    out.println("  " + line.replace("\n", "\n        "));
  }
}
