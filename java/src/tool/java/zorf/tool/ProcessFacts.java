package zorf.tool;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.util.ArrayList;
import java.util.LinkedHashSet;
import java.util.List;
import java.util.Set;

/** What /proc tells of this process. */
final class ProcessFacts {
  /** The capabilities that the library's work may need, with their bits. */
  enum Capability {
    CAP_DAC_OVERRIDE(1),
    CAP_DAC_READ_SEARCH(2),
    CAP_FOWNER(3),
    CAP_SETGID(6),
    CAP_SETUID(7),
    CAP_SYS_ADMIN(21);

    private final int bit;

    Capability(int bit) {
      this.bit = bit;
    }

    boolean isIn(long set) {
      return (set >> bit & 1) != 0;
    }
  }

  /** A mounted file system. */
  static final class Mount {
    final String device;
    final String directory;
    final String type;

    Mount(String device, String directory, String type) {
      this.device = device;
      this.directory = directory;
      this.type = type;
    }
  }

  private ProcessFacts() {}

  private static String text(String file) throws IOException {
    return new String(Files.readAllBytes(Paths.get(file)), StandardCharsets.UTF_8);
  }

  /** The effective capabilities of the calling thread. */
  static long capabilities() throws IOException {
    return number("/proc/thread-self/status", "CapEff:", 16);
  }

  /** The file creation mask; 077, the strictest usual one, where the kernel does not tell. */
  static int umask() {
    try {
      return (int) number("/proc/self/status", "Umask:", 8);
    } catch (IOException e) {
      return 077;
    }
  }

  private static long number(String file, String label, int base) throws IOException {
    for (String line : text(file).split("\n")) {
      if (line.startsWith(label)) {
        return Long.parseUnsignedLong(line.substring(label.length()).trim(), base);
      }
    }
    throw new IOException("no " + label + " in " + file);
  }

  /** The files that are mapped and whose name starts so, such as "libacl.so". */
  static Set<Path> mapped(String nameStart) throws IOException {
    Set<Path> files = new LinkedHashSet<>();
    for (String line : text("/proc/self/maps").split("\n")) {
      int slash = line.indexOf('/');
      if (slash >= 0) {
        Path file = Paths.get(line.substring(slash));
        if (file.getFileName() != null && file.getFileName().toString().startsWith(nameStart)) {
          files.add(file);
        }
      }
    }
    return files;
  }

  /** The mounted zorf file systems, from the table that the library reads as well. */
  static List<Mount> zorfMounts() throws IOException {
    List<Mount> mounts = new ArrayList<>();
    for (String line : text("/etc/mtab").split("\n")) {
      String[] fields = line.split("[ \t]+");
      if (fields.length > 2 && fields[2].equals("zorf")) {
        mounts.add(new Mount(plain(fields[0]), plain(fields[1]), fields[2]));
      }
    }
    return mounts;
  }

  /** Blanks and the like stand in the table in octal. */
  private static String plain(String field) {
    return field
        .replace("\\040", " ")
        .replace("\\011", "\t")
        .replace("\\012", "\n")
        .replace("\\134", "\\");
  }
}
