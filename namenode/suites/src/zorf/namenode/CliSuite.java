package zorf.namenode;

import java.lang.reflect.Field;
import java.lang.reflect.InvocationTargetException;
import java.util.ArrayList;
import java.util.List;
import org.apache.hadoop.cli.CLITestHelper;
import org.apache.hadoop.cli.util.CLITestData;
import org.apache.hadoop.cli.util.ComparatorData;

/** A suite of shell commands with the output that each must have: one test for JUnit, many cases here. */
final class CliSuite {
  private CliSuite() {}

  static boolean isOne(Class<?> suite) {
    return CLITestHelper.class.isAssignableFrom(suite);
  }

  static List<Suites.Ran> run(Class<?> suite) throws Exception {
    CLITestHelper helper = (CLITestHelper) suite.getDeclaredConstructor().newInstance();
    helper.setUp();
    helper.testAll();
    try {
      helper.tearDown();
    } catch (AssertionError e) {
      // "One of the tests failed": which ones is read below.
    }
    Field field = CLITestHelper.class.getDeclaredField("testsFromConfigFile");
    field.setAccessible(true);
    List<?> cases = (List<?>) field.get(helper);
    List<Suites.Ran> ran = new ArrayList<>();
    for (int i = 0; i < cases.size(); i++) {
      CLITestData data = (CLITestData) cases.get(i);
      ran.add(
          new Suites.Ran(
              suite.getSimpleName(),
              (i + 1) + " " + data.getTestDesc().strip().replaceAll("\\s+", " "),
              data.getTestResult() ? Suites.Outcome.PASSED : Suites.Outcome.FAILED,
              why(data)));
    }
    return ran;
  }

  private static String why(CLITestData data) {
    for (ComparatorData comparator : data.getComparatorData()) {
      if (!comparator.getTestResult()) {
        return ("wanted " + comparator.getExpectedOutput() + " got " + comparator.getActualOutput())
            .replaceAll("\\s+", " ");
      }
    }
    return "";
  }
}
