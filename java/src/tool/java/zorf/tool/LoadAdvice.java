package zorf.tool;

import java.io.IOException;
import java.io.InputStream;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.util.ArrayList;
import java.util.List;

/**
 * What to do about a library that does not load. The loader's own words tell little: a client
 * library that it may not read, or of another architecture, is one that it did not find.
 */
final class LoadAdvice {
  private static final String CLIENT = "libzorf.so";

  private LoadAdvice() {}

  /**
   * One sentence.
   *
   * @param library the path that was loaded, null if it was searched by name
   * @param reason what the loader said
   */
  static String about(String library, String reason) {
    if (library == null) {
      return "name the file in ZORFHADOOP_LIBRARY";
    }
    Path file = Paths.get(library);
    if (!Files.exists(file)) {
      return "name the file in ZORFHADOOP_LIBRARY; there is none at " + library;
    }
    String trouble = trouble(file);
    if (trouble != null) {
      return trouble;
    }
    List<Path> clients = clients(file);
    if (reason.contains("undefined symbol: zorf_")) {
      return (clients.isEmpty() ? "the " + CLIENT + " that was found" : clients.get(0).toString())
          + " is not zorf's client library: name the directory of zorf's in LD_LIBRARY_PATH, first";
    }
    if (reason.contains(CLIENT)) {
      for (Path client : clients) {
        trouble = trouble(client);
        if (trouble != null) {
          return trouble;
        }
      }
      return "install the client library " + CLIENT + ", or name its directory in LD_LIBRARY_PATH";
    }
    if (reason.contains("GLIBC_")) {
      return "take a library that was built for this system, or build it here: its C library is older";
    }
    return "see what is missing: ldd " + library;
  }

  /** The client libraries that are there, in the order in which the loader looks. */
  private static List<Path> clients(Path library) {
    List<Path> clients = new ArrayList<>();
    String path = System.getenv("LD_LIBRARY_PATH");
    for (String directory : (path == null ? "" : path).split(":")) {
      if (!directory.isEmpty()) {
        clients.add(Paths.get(directory, CLIENT));
      }
    }
    clients.add(library.resolveSibling(CLIENT));
    clients.removeIf(client -> !Files.exists(client));
    return clients;
  }

  /** What to do about a file that can't be a library here, null if it can. */
  private static String trouble(Path file) {
    if (Files.isDirectory(file)) {
      return file + " is a directory: name the file in it";
    }
    if (!Files.isReadable(file)) {
      return "let this user read it: chmod a+r " + file;
    }
    try {
      ByteBuffer its = header(file);
      ByteBuffer ours = header(Paths.get("/proc/self/exe"));
      if (its.getInt(0) != ours.getInt(0)) {
        return file + " is no library: install it again";
      }
      if (its.getShort(4) != ours.getShort(4) || its.getShort(18) != ours.getShort(18)) {
        return file + " is for " + machine(its) + ", this Java for " + machine(ours)
            + ": install the library for " + machine(ours) + ", or set JAVA_HOME to a Java for "
            + machine(its);
      }
      return null;
    } catch (IOException e) {
      return "see why " + file + " can't be read: " + Failure.reason(e);
    }
  }

  /** The start of an ELF file; zeros after the end of a shorter one. */
  private static ByteBuffer header(Path file) throws IOException {
    byte[] header = new byte[20];
    try (InputStream in = Files.newInputStream(file)) {
      in.read(header);
      return ByteBuffer.wrap(header).order(ByteOrder.nativeOrder());
    }
  }

  private static String machine(ByteBuffer header) {
    int machine = header.getShort(18);
    switch (machine) {
      case 3:
        return "32-bit x86";
      case 40:
        return "32-bit ARM";
      case 62:
        return "x86-64";
      case 183:
        return "AArch64";
      default:
        return "ELF machine " + machine;
    }
  }
}
