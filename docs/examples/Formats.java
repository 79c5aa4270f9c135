import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.io.PrintStream;
import java.io.RandomAccessFile;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.nio.file.attribute.BasicFileAttributeView;
import java.nio.file.attribute.FileTime;
import java.nio.file.attribute.PosixFilePermissions;
import java.time.Instant;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Map;
import java.util.TreeMap;
import org.apache.hadoop.hdfs.server.namenode.ZORFNative;
import org.apache.hadoop.hdfs.server.namenode.zorf.AclEntry;
import org.apache.hadoop.hdfs.server.namenode.zorf.AclFormat;
import org.apache.hadoop.hdfs.server.namenode.zorf.AclScope;
import org.apache.hadoop.hdfs.server.namenode.zorf.AclTag;

/**
 * Prints the worked examples of docs/formats.md: what the natives return for files made here, byte by
 * byte. Each example is a line "== name" and its text. Bytes that differ from machine to machine and
 * from run to run are dots.
 */
public final class Formats {
  private static final int BLOCK = 4096;
  private static final Instant TIME = Instant.parse("2024-02-29T12:34:56.789Z");

  private final Path directory;

  private Formats(Path directory) {
    this.directory = directory;
  }

  public static void main(String[] arguments) {
    // At debug, without which there is no failed path; the lines themselves are not wanted.
    System.setProperty(
        "org.apache.commons.logging.Log", "org.apache.commons.logging.impl.SimpleLog");
    System.setProperty("org.apache.commons.logging.simplelog.defaultlog", "debug");
    PrintStream err = System.err;
    System.setErr(new PrintStream(new ByteArrayOutputStream()));
    try {
      Formats formats = new Formats(Paths.get(arguments[0]));
      formats.status();
      formats.locations();
      formats.acls();
      formats.attributes();
      formats.paths();
    } catch (IOException | RuntimeException | LinkageError e) {
      e.printStackTrace(err);
      System.exit(1);
    }
  }

  private static void example(String name, String... lines) {
    System.out.println("== " + name);
    for (String line : lines) {
      System.out.println(line);
    }
  }

  /** As hexdump -C does, but with dots for the bytes at and after each pair's first number. */
  private static String[] hex(byte[] bytes, int... unknown) {
    List<String> lines = new ArrayList<>();
    for (int at = 0; at < bytes.length; at += 16) {
      StringBuilder line = new StringBuilder(String.format("%04x ", at));
      for (int i = at; i < Math.min(at + 16, bytes.length); i++) {
        line.append(i % 8 == 0 ? "  " : " ");
        line.append(isUnknown(i, unknown) ? ".." : String.format("%02x", bytes[i]));
      }
      lines.add(line.toString());
    }
    return lines.toArray(new String[0]);
  }

  private static boolean isUnknown(int at, int... unknown) {
    for (int i = 0; i < unknown.length; i += 2) {
      if (at >= unknown[i] && at < unknown[i] + unknown[i + 1]) {
        return true;
      }
    }
    return false;
  }

  private Path file(String name, long size) throws IOException {
    Path path = directory.resolve(name);
    try (RandomAccessFile file = new RandomAccessFile(path.toFile(), "rw")) {
      file.setLength(size);
    }
    Files.setPosixFilePermissions(path, PosixFilePermissions.fromString("rw-r-----"));
    FileTime time = FileTime.from(TIME);
    Files.getFileAttributeView(path, BasicFileAttributeView.class).setTimes(time, time, null);
    return path;
  }

  private static byte[] record(Path path) {
    byte[] record = ZORFNative.getFileStatusNative(path.toString(), true);
    // The file system's block size, so that the examples are the same on any.
    ByteBuffer.wrap(record).order(ByteOrder.nativeOrder()).putLong(56, BLOCK);
    return record;
  }

  private void status() throws IOException {
    example("layout", Arrays.toString(ZORFNative.getFileStatusFormatNative()));
    Path file = file("status", 10_000);
    // Device, inode, owner and group, blocks, change time.
    example("status", hex(record(file), 0, 16, 28, 8, 64, 8, 104, 16));
  }

  private static void choose(String policy) {
    ZORFNative.getBlkCmd(policy.getBytes(StandardCharsets.US_ASCII), 3 * BLOCK);
  }

  /** A file whose blocks have the replicas of the example; placement goes by the inode number. */
  private Path placed() throws IOException {
    int[] wanted = {7, 9, 9, 8, 8, 7};
    choose("local");
    for (int attempt = 0; attempt < 50_000; attempt++) {
      Path file = file("data" + attempt, 10_000);
      byte[] stream = ZORFNative.getBlockLocationsNative(file.toString(), 0, 10_000, record(file));
      ByteBuffer ids = ByteBuffer.wrap(stream).order(ByteOrder.nativeOrder());
      boolean same = ids.getInt(24) == 3 && ids.getInt(28) == 2;
      for (int i = 0; same && i < wanted.length; i++) {
        same = ids.getInt(32 + i / 2 * 16 + i % 2 * 4) == wanted[i];
      }
      if (same) {
        return file;
      }
    }
    throw new IOException("no file with the placement of the example");
  }

  private void locations() throws IOException {
    Path file = placed();
    String path = file.toString();
    ZORFNative.setBGF(path, 2);
    byte[] record = record(file);
    for (String policy : new String[] {"local", "shared", "rackaware", "rackaware-sort"}) {
      choose(policy);
      example(policy, hex(ZORFNative.getBlockLocationsNative(path, 0, 65_536, record)));
    }
    choose("rackaware-sort");
    example("range", hex(ZORFNative.getBlockLocationsNative(path, 5_000, 1_000, record)));
    Path plain = file("plain", 10_000);
    example("default", hex(ZORFNative.getBlockLocationsNative(plain.toString(), 0, 0, record)));
    example("directory", hex(ZORFNative.getBlockLocationsNative(directory.toString(), 7, 7, null)));
    choose("shared");
    byte[] located = ZORFNative.getLocatedFileStatusNative(path, true, true, true);
    // Its stat is its own: the block sizes are those of the file system.
    example("located", hex(Arrays.copyOfRange(located, 144, located.length), 18, 8));
    StringBuilder names = new StringBuilder();
    for (String name : new String[] {"rackaware-sort", "rackaware", "rack", "shared", "", "remote"}) {
      int policy = ZORFNative.getBlkCmd(name.getBytes(StandardCharsets.US_ASCII), 0);
      names.append(names.length() == 0 ? "" : "\n").append('"').append(name).append("\" ");
      names.append(policy);
    }
    example("policies", names.toString());
  }

  private void acls() throws IOException {
    Path file = file("acl", 0);
    byte[] specification =
        AclFormat.encodeSpecification(
            Arrays.asList(
                AclEntry.of(AclScope.ACCESS, AclTag.USER, 1001, AclEntry.READ | AclEntry.EXECUTE),
                AclEntry.of(AclScope.ACCESS, AclTag.OTHER, 0)));
    example("specification", hex(specification));
    ZORFNative.modifyAclEntries(file.toString(), specification);
    example("report", hex(ZORFNative.getAclStatus(file.toString(), null)));
    byte[] located = ZORFNative.getLocatedFileStatusNative(file.toString(), true, true, true);
    example("aclflag", hex(Arrays.copyOfRange(located, 144, 146)));
  }

  private void attributes() throws IOException {
    String path = file("attributes", 0).toString();
    byte[] value = {'4', 0, '2'};
    ZORFNative.setExtendedAttribute(path, "user.b", value, (short) 0);
    ZORFNative.setExtendedAttribute(path, "user.a", null, (short) 0);
    String[] names = {"user.b", "user.a", "user.b"};
    List<String> lines = new ArrayList<>();
    Map<String, byte[]> sorted = new TreeMap<>(ZORFNative.getXAttrs(path, names));
    sorted.forEach((name, bytes) -> lines.add(name + " = " + Arrays.toString(bytes)));
    example("attributes", lines.toArray(new String[0]));
  }

  private void paths() throws IOException {
    Path link = Files.createSymbolicLink(directory.resolve("link"), Paths.get("../target"));
    example("link", hex(ZORFNative.getLinkTargetNative(link.toString(), 100)));
    example("cutlink", hex(ZORFNative.getLinkTargetNative(link.toString(), 4)));
    String missing = directory.resolve("missing/file").toString();
    byte[] reached = ZORFNative.getFailedPathNative(missing, true);
    example(
        "failedpath",
        new String(reached, StandardCharsets.UTF_8).replace(directory.toString(), "/data"));
    // A letter outside of Unicode's first 65536: the kernel sees two surrogates of three bytes.
    String letter = new String(Character.toChars(0x1F600));
    example("utf8", String.join("\n", hex(letter.getBytes(StandardCharsets.UTF_8))));
    example("modifiedutf8", hex(modified(letter)));
  }

  /** The bytes that a native hands the kernel for a name, seen in an extended attribute's name. */
  private byte[] modified(String name) throws IOException {
    Path holder = file("names", 0);
    ZORFNative.setExtendedAttribute(holder.toString(), "user." + name, new byte[] {1}, (short) 0);
    Process list =
        new ProcessBuilder("getfattr", "--absolute-names", holder.toString()).start();
    byte[] output = list.getInputStream().readAllBytes();
    String octal = new String(output, StandardCharsets.ISO_8859_1);
    String text = octal.substring(octal.indexOf("user.") + 5, octal.indexOf("\n\n"));
    ByteBuffer bytes = ByteBuffer.allocate(text.length());
    for (int i = 0; i < text.length(); i++) {
      if (text.charAt(i) == '\\') {
        bytes.put((byte) Integer.parseInt(text.substring(i + 1, i + 4), 8));
        i += 3;
      } else {
        bytes.put((byte) text.charAt(i));
      }
    }
    return Arrays.copyOf(bytes.array(), bytes.position());
  }
}
