package zorf.testing;

import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.List;

/** What a JVM with {@link #OPTION} prints about its native code, picked out of its output. */
public final class JniReports {
  /** Makes the virtual machine check how native code uses JNI. */
  public static final String OPTION = "-Xcheck:jni";

  /** The library asks for two classes by names in the form of a descriptor. */
  private static final List<String> EXPECTED =
      Collections.unmodifiableList(
          Arrays.asList(descriptor("Ljava/util/HashMap;"), descriptor("Ljava/lang/String;")));

  private final List<String> reports = new ArrayList<>();
  private final List<String> others = new ArrayList<>();
  private boolean inside;

  private static String descriptor(String name) {
    return "WARNING in native method: JNI FindClass received a bad class descriptor \""
        + name
        + "\".  A correct class descriptor has no leading \"L\" or trailing \";\"."
        + "  Incorrect descriptors will not be accepted in future releases.";
  }

  /**
   * Takes the next line of the output.
   *
   * @param line the line
   * @return whether it belongs to a report
   */
  public boolean take(String line) {
    boolean starts =
        line.contains(" in native method: ")
            || line.contains("WARNING: JNI ")
            || line.contains("Warning: SIG");
    if (starts) {
      (EXPECTED.contains(line) ? reports : others).add(line);
    } else if (inside && line.startsWith("\t")) {
      if (!others.isEmpty()) {
        others.add(line);
      }
    } else {
      inside = false;
      return false;
    }
    inside = true;
    return true;
  }

  /** Fails if anything but the two class names of one load was reported. */
  public void expectNoOthers() {
    if (!others.isEmpty() || !(reports.isEmpty() || reports.equals(EXPECTED))) {
      throw new AssertionError(String.join("\n", reports) + "\n" + String.join("\n", others));
    }
  }

  /** Fails unless the two class names of one load, and nothing else, were reported. */
  public void expectOneLoad() {
    expectNoOthers();
    if (reports.isEmpty()) {
      throw new AssertionError("nothing was checked");
    }
  }
}
