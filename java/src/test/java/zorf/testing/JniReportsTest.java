package zorf.testing;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;

import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.List;
import org.junit.jupiter.api.Test;

class JniReportsTest {
  private static final String END =
      "\".  A correct class descriptor has no leading \"L\" or trailing \";\"."
          + "  Incorrect descriptors will not be accepted in future releases.";
  private static final String BAD =
      "WARNING in native method: JNI FindClass received a bad class descriptor \"";
  private static final String MAP = BAD + "Ljava/util/HashMap;" + END;
  private static final String STRING = BAD + "Ljava/lang/String;" + END;
  private static final String FRAME = "\tat zorf.loading.Probe.main(Probe.java:42)";

  private final JniReports reports = new JniReports();

  private List<String> rest(String... lines) {
    List<String> rest = new ArrayList<>(Arrays.asList(lines));
    rest.removeIf(reports::take);
    return rest;
  }

  @Test
  void theTwoClassNamesAreTakenOutWithTheirStacks() {
    assertEquals(
        Arrays.asList("load done", "\tindented"),
        rest(MAP, FRAME, STRING, FRAME, "\t- locked <0x1>", "load done", "\tindented"));
    reports.expectOneLoad();
  }

  @Test
  void outputWithoutReportsIsNoLoad() {
    assertEquals(Collections.singletonList("load done"), rest("load done"));
    reports.expectNoOthers();
    assertThrows(AssertionError.class, reports::expectOneLoad);
  }

  @Test
  void everyOtherReportFails() {
    for (String other :
        new String[] {
          "WARNING in native method: JNI call made with exception pending",
          "WARNING: JNI local refs: 33, exceeds capacity: 32",
          "FATAL ERROR in native method: Using JNIEnv in the wrong thread",
          BAD + "Ljava/lang/Object;" + END,
          "Warning: SIGSEGV handler modified!",
        }) {
      JniReports each = new JniReports();
      for (String line : new String[] {MAP, FRAME, STRING, FRAME, other, FRAME}) {
        each.take(line);
      }
      assertThrows(AssertionError.class, each::expectNoOthers, other);
    }
  }

  @Test
  void aClassNameThatIsAskedForAgainFails() {
    rest(MAP, FRAME, STRING, FRAME, STRING, FRAME);
    assertThrows(AssertionError.class, reports::expectNoOthers);
  }
}
