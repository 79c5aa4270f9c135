package zorf.namenode;

import java.io.IOException;
import java.io.PrintStream;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import java.util.concurrent.ScheduledExecutorService;
import java.util.concurrent.TimeUnit;
import org.junit.runner.Description;
import org.junit.runner.JUnitCore;
import org.junit.runner.Request;
import org.junit.runner.notification.Failure;
import org.junit.runner.notification.RunListener;

/** Runs one of Hadoop's own suites and holds what comes of each case against a list. */
public final class Suites {
  /** Some wait without an end for what never comes. */
  private static final int LIMIT_SECONDS = 60;

  /** What comes of one case. */
  enum Outcome {
    PASSED,
    FAILED,
    SKIPPED
  }

  /** A case that has run; {@code why} is the first line of what went wrong. */
  record Ran(String suite, String name, Outcome outcome, String why) {}

  private Suites() {}

  /**
   * Runs a suite.
   *
   * @param arguments [--record] LIST CLASS [EXCEPTIONS]: with it the list becomes what was seen; the
   *     exceptions are a list of what comes out otherwise here
   */
  public static void main(String... arguments) throws Exception {
    List<String> rest = new ArrayList<>(Arrays.asList(arguments));
    boolean record = rest.remove("--record");
    Path file = Path.of(rest.remove(0));
    CaseList list = CaseList.read(file);
    String suite = rest.remove(0);
    PrintStream out = System.out;
    System.setOut(System.err); // what suites and Hadoop say themselves goes to the log
    long start = System.nanoTime();
    List<Ran> ran = numbered(run(Class.forName(suite)));
    if (record) {
      list.record(ran);
      list.write(file);
    }
    for (String exceptions : rest) {
      list.except(CaseList.read(Path.of(exceptions)));
    }
    List<String> changes = list.changes(ran);
    changes.forEach(out::println);
    out.println(list.line(ran, (System.nanoTime() - start) / 1_000_000_000));
    out.flush();
    System.exit(changes.isEmpty() ? 0 : 1);
  }

  /** Where a name comes again, as that of a test with parameters may, it gets a number. */
  private static List<Ran> numbered(List<Ran> ran) {
    Map<String, Integer> times = new HashMap<>();
    return ran.stream()
        .map(
            one -> {
              int time = times.merge(one.name(), 1, Integer::sum);
              String name = time == 1 ? one.name() : one.name() + " #" + time;
              return new Ran(one.suite(), name, one.outcome(), one.why());
            })
        .toList();
  }

  static List<Ran> run(Class<?> suite) throws Exception {
    return CliSuite.isOne(suite) ? CliSuite.run(suite) : junit(suite);
  }

  private static List<Ran> junit(Class<?> suite) {
    List<Ran> ran = new ArrayList<>();
    Thread runner = Thread.currentThread();
    ScheduledExecutorService clock = Executors.newSingleThreadScheduledExecutor();
    JUnitCore core = new JUnitCore();
    core.addListener(
        new RunListener() {
          private Outcome outcome;
          private String why;
          private Future<?> limit;

          @Override
          public void testStarted(Description test) {
            System.err.println("=== " + test);
            limit = clock.schedule(runner::interrupt, LIMIT_SECONDS, TimeUnit.SECONDS);
            outcome = Outcome.PASSED;
            why = "";
          }

          @Override
          public void testFailure(Failure failure) {
            failure.getException().printStackTrace();
            outcome = Outcome.FAILED;
            why = firstLine(failure.getException());
            if (!failure.getDescription().isTest()) {
              ran.add(new Ran(suite.getSimpleName(), "(the class)", outcome, why));
            }
          }

          @Override
          public void testAssumptionFailure(Failure failure) {
            outcome = Outcome.SKIPPED;
            why = firstLine(failure.getException());
          }

          @Override
          public void testIgnored(Description test) {
            String name = test.getMethodName();
            ran.add(new Ran(suite.getSimpleName(), name, Outcome.SKIPPED, "ignored"));
          }

          @Override
          public void testFinished(Description test) {
            limit.cancel(false);
            Thread.interrupted();
            ran.add(new Ran(suite.getSimpleName(), test.getMethodName(), outcome, why));
          }
        });
    core.run(Request.aClass(suite));
    clock.shutdownNow();
    return ran;
  }

  private static String firstLine(Throwable failure) {
    return (failure + "\n").lines().findFirst().orElse("").replace('\t', ' ');
  }
}
