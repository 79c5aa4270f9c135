package zorf.soak;

import java.io.File;
import java.io.IOException;
import java.lang.management.ManagementFactory;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Paths;
import java.util.Arrays;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import javax.management.JMException;
import javax.management.ObjectName;

/** What the process holds, measured while no thread is inside a native. */
final class Meter {
  private static final long KIBI = 1024;
  /** What malloc(3) adds to a block. */
  private static final long OVERHEAD = 16;

  /** The compilers may allocate between the two figures of a look: the median counts. */
  private static final int LOOKS = 7;

  private static final Pattern MALLOC = Pattern.compile("malloc: ([0-9]+)KB #[0-9]+");
  private static final Pattern MALLOC_BLOCKS = Pattern.compile("malloc: [0-9]+KB #([0-9]+)");
  private static final Pattern INTERNAL =
      Pattern.compile("- +Internal \\(reserved=[^)]*\\)\\s+\\(malloc=([0-9]+)KB");
  private static final Pattern GLOBAL_REFERENCES = Pattern.compile("JNI global refs: ([0-9]+)");

  private Meter() {}

  private static native long mallocInUse();

  private static String diagnose(String operation, String... arguments) throws JMException {
    return (String)
        ManagementFactory.getPlatformMBeanServer()
            .invoke(
                new ObjectName("com.sun.management:type=DiagnosticCommand"),
                operation,
                new Object[] {arguments},
                new String[] {String[].class.getName()});
  }

  private static long number(Pattern pattern, String text) {
    Matcher matcher = pattern.matcher(text);
    Expect.that(matcher.find(), "no " + pattern + " in " + text);
    return Long.parseLong(matcher.group(1));
  }

  /** One point of the curve. */
  static final class Sample {
    final double seconds;
    final long calls;
    final long descriptors;
    final long globalReferences;
    /** malloc(3) outside of the virtual machine, without what failed calls must keep. */
    final long nativeBytes;
    /** What the virtual machine allocated for JNI: characters of strings, blocks of references. */
    final long jniBytes;

    final long residentBytes;

    private Sample(double seconds, long calls) throws IOException, JMException {
      this.seconds = seconds;
      this.calls = calls;
      String[] fds = new File("/proc/self/fd").list();
      descriptors = fds == null ? -1 : fds.length;
      globalReferences = number(GLOBAL_REFERENCES, diagnose("threadPrint"));
      String memory = "";
      long[] outside = new long[LOOKS];
      for (int i = 0; i < LOOKS; i++) {
        memory = diagnose("vmNativeMemory", "summary");
        outside[i] = mallocInUse();
        outside[i] -= number(MALLOC, memory) * KIBI + number(MALLOC_BLOCKS, memory) * OVERHEAD;
      }
      Arrays.sort(outside);
      nativeBytes = outside[LOOKS / 2] - AttributeChecks.KEPT_VALUES.sum();
      jniBytes = number(INTERNAL, memory) * KIBI - AttributeChecks.KEPT_STRINGS.sum();
      String status =
          new String(Files.readAllBytes(Paths.get("/proc/self/status")), StandardCharsets.UTF_8);
      residentBytes = number(Pattern.compile("VmRSS:\\s+([0-9]+)"), status) * KIBI;
    }

    @Override
    public String toString() {
      return String.format(
          "%7.1f s %12d calls %5d descriptors %5d global references"
              + " %8d KiB native %6d KiB JNI %8d KiB resident",
          seconds,
          calls,
          descriptors,
          globalReferences,
          nativeBytes / KIBI,
          jniBytes / KIBI,
          residentBytes / KIBI);
    }
  }

  static Sample take(double seconds) throws IOException, JMException {
    System.gc();
    long calls = Natives.calls().values().stream().mapToLong(Long::longValue).sum();
    return new Sample(seconds, calls);
  }
}
