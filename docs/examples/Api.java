import java.io.IOException;
import java.io.RandomAccessFile;
import java.nio.charset.StandardCharsets;
import java.nio.file.AccessDeniedException;
import java.nio.file.Files;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.nio.file.attribute.FileTime;
import java.nio.file.attribute.PosixFilePermissions;
import java.time.Duration;
import java.time.Instant;
import org.apache.hadoop.hdfs.server.namenode.zorf.AclEntry;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockPieces;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockPolicy;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockRange;
import org.apache.hadoop.hdfs.server.namenode.zorf.FileStatus;
import org.apache.hadoop.hdfs.server.namenode.zorf.UserThreadException;
import org.apache.hadoop.hdfs.server.namenode.zorf.UserThreads;
import org.apache.hadoop.hdfs.server.namenode.zorf.ZorfFailure;
import org.apache.hadoop.hdfs.server.namenode.zorf.ZorfFiles;
import org.apache.hadoop.hdfs.server.namenode.zorf.ZorfFiles.AttributeMode;

/**
 * The Java of README.md and docs/java.md: what stands between two lines of the same "[name]" is shown
 * there. Prints the output of each example behind a line "== name".
 */
public final class Api {
  private static String path;
  private static String user;
  private static ZorfFiles files;

  private Api() {}

  public static void main(String[] arguments) throws Exception {
    System.setProperty(
        "org.apache.commons.logging.Log", "org.apache.commons.logging.impl.NoOpLog");
    path = sample(Paths.get(arguments[0])).toString();
    user = System.getProperty("user.name");
    open();
    System.out.println("== calls");
    calls();
    System.out.println("== threads");
    threads();
    System.out.println("== failures");
    failures(path + ".old");
    System.out.println("== properties");
    properties();
    System.out.println("== pieces");
    pieces();
    System.out.println("== acl");
    acl();
  }

  private static Path sample(Path directory) throws IOException {
    Path sample = directory.resolve("sample");
    try (RandomAccessFile file = new RandomAccessFile(sample.toFile(), "rw")) {
      file.setLength(10_000);
    }
    Files.setPosixFilePermissions(sample, PosixFilePermissions.fromString("rw-r-----"));
    Instant time = Instant.parse("2024-02-29T12:34:56.789Z");
    return Files.setLastModifiedTime(sample, FileTime.from(time));
  }

  private static void open() {
    // [open]
    ZorfFiles.choosePolicy(BlockPolicy.RACKAWARE, 128L << 20); // once, for the whole process
    files = ZorfFiles.cachingNames(Duration.ofSeconds(30), 1000);
    // [open]
  }

  private static void calls() throws IOException, InterruptedException {
    // [calls]
    try (UserThreads threads = UserThreads.builder().warmUp(() -> files.status("/")).build()) {
      FileStatus status = threads.call(user, () -> files.status(path)); // as that user, or not at all
      System.out.println(status.permissionText() + " " + status.size() + " bytes");
      BlockPieces pieces = threads.call(user, () -> files.blocks(path, 0, status.size()));
      while (pieces.hasNext()) {
        BlockRange piece = pieces.next();
        System.out.println(piece + ", the first on " + piece.ids(0).length + " locations");
      }
    }
    // [calls]
  }

  private static void threads() throws IOException, InterruptedException {
    // [threads]
    UserThreads threads =
        UserThreads.builder()
            .threadsPerUser(4)
            .maxWait(Duration.ofSeconds(2))
            .warmUp(() -> files.status("/")) // what the calls do, so that its classes are there
            .build();
    try {
      threads.call("zorf_none", () -> files.status(path));
    } catch (UserThreadException e) {
      System.out.println(e.reason() + ": " + e.getMessage());
    }
    threads.close();
    // [threads]
  }

  private static void failures(String path) {
    // [failures]
    try {
      files.status(path);
    } catch (NoSuchFileException e) {
      String name = Paths.get(e.getFile()).getFileName().toString();
      System.out.println(name + ": " + e.getReason() + ", errno " + ZorfFailure.errnoOf(e));
    } catch (AccessDeniedException e) {
      System.out.println("not for this user: " + e.getMessage());
    } catch (IOException e) {
      System.out.println("something else: " + e.getMessage());
    }
    // [failures]
  }

  private static void pieces() throws IOException {
    // [pieces]
    for (BlockPieces pieces = files.blocks(path, 5_000, Long.MAX_VALUE); pieces.hasNext(); ) {
      BlockRange piece = pieces.next();
      for (int i = 0; i < piece.blockCount(); i++) {
        System.out.println(
            piece.blockLength(i) + " bytes at " + piece.blockOffset(i)
                + " on " + piece.ids(i).length + " locations");
      }
    }
    // [pieces]
  }

  private static void properties() throws IOException {
    // [properties]
    System.out.println(files.blockGroupFactor(path));
    files.setBlockGroupFactor(path, 2);
    System.out.println(files.blockGroupFactor(path));
    files.setReplication(path, 3, true);
    System.out.println(files.blocks(path, 0, 1).next());
    byte[] value = "summer".getBytes(StandardCharsets.UTF_8);
    files.setAttribute(path, "user.season", value, AttributeMode.CREATE_OR_REPLACE);
    System.out.println(files.attribute(path, "user.season").get().length + " bytes");
    // [properties]
  }

  private static void acl() throws IOException {
    // [acl]
    files.modifyAcl(path, files.parseAcl("user:daemon:rw-,group:bin:r--"));
    for (AclEntry entry : files.acl(path)) {
      System.out.println(files.aclText(entry));
    }
    // [acl]
  }
}
