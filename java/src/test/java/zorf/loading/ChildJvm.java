package zorf.loading;

import java.io.File;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.concurrent.TimeUnit;
import zorf.testing.JniReports;

/**
 * Starts a JVM of the same JDK that loads the library: it is loaded once per process, and each test
 * wants another surrounding for it. Change what is needed, then {@link #run}.
 */
final class ChildJvm {
  private static final int TIMEOUT_SECONDS = 120;

  /** Whether every child checks the library's use of JNI, and fails the test if that is wrong. */
  private static final boolean CHECKED = Boolean.getBoolean("zorf.test.xcheck");

  private final Map<String, String> environment = new LinkedHashMap<>();
  private final List<String> options = new ArrayList<>();
  private final List<String> classpath = new ArrayList<>();

  ChildJvm() {
    classpath.addAll(Arrays.asList(property("zorf.test.classpath").split(File.pathSeparator)));
    options.add("-XX:TieredStopAtLevel=1"); // quick to start
    options.add("-Djava.io.tmpdir=" + System.getProperty("java.io.tmpdir"));
    options.add("-Dzorf.library=" + property("zorf.library"));
    options.add("-Dorg.apache.commons.logging.Log=zorf.testing.RecordingLog");
    if (javaVersion() >= 24) {
      options.add("--enable-native-access=ALL-UNNAMED");
    }
    if (CHECKED) {
      options.add(JniReports.OPTION);
    }
  }

  /** A property that the build sets for the tests. */
  static String property(String name) {
    String value = System.getProperty(name);
    if (value == null) {
      throw new IllegalStateException("-D" + name + " is not set");
    }
    return value;
  }

  private static int javaVersion() {
    String version = System.getProperty("java.specification.version");
    return Integer.parseInt(version.startsWith("1.") ? version.substring(2) : version);
  }

  /** The levels that the logger enables, such as "warn,error,fatal". */
  ChildJvm levels(String levels) {
    return option("-Dzorf.test.levels=" + levels);
  }

  ChildJvm option(String option) {
    options.add(option);
    return this;
  }

  ChildJvm withoutOption(String start) {
    options.removeIf(option -> option.startsWith(start));
    return this;
  }

  /** A directory of compiled variants that wins over the real classes. */
  ChildJvm variant(String name) {
    classpath.add(0, property("zorf.test.variants") + "/" + name);
    return this;
  }

  /** Takes the jar whose file name starts with {@code name} off the class path. */
  ChildJvm withoutJar(String name) {
    if (!classpath.removeIf(entry -> new File(entry).getName().startsWith(name))) {
      throw new IllegalStateException("no " + name + " in " + classpath);
    }
    return this;
  }

  /** Puts a jar before all others. */
  ChildJvm withJar(Path jar) {
    classpath.add(0, jar.toString());
    return this;
  }

  /** A directory whose shared libraries win over those of the system. */
  ChildJvm librariesFrom(Path directory) {
    environment.put("LD_LIBRARY_PATH", directory.toString());
    return this;
  }

  /** Runs {@link Probe} with these steps. */
  Outcome run(String... steps) throws IOException, InterruptedException {
    List<String> command = new ArrayList<>();
    command.add(System.getProperty("java.home") + "/bin/java");
    command.addAll(options);
    command.add("-cp");
    command.add(String.join(File.pathSeparator, classpath));
    command.add(Probe.class.getName());
    command.addAll(Arrays.asList(steps));
    Path out = Files.createTempFile("zorf-child", ".out");
    Path err = Files.createTempFile("zorf-child", ".err");
    try {
      ProcessBuilder builder = new ProcessBuilder(command);
      builder.environment().putAll(environment);
      Process process = builder.redirectOutput(out.toFile()).redirectError(err.toFile()).start();
      if (!process.waitFor(TIMEOUT_SECONDS, TimeUnit.SECONDS)) {
        process.destroyForcibly();
        throw new IOException("child JVM still runs after " + TIMEOUT_SECONDS + " s: " + command);
      }
      List<String> lines = Files.readAllLines(out);
      // A test that asks for the checks itself wants to see what they report.
      if (CHECKED && Collections.frequency(options, JniReports.OPTION) == 1) {
        JniReports reports = new JniReports();
        lines.removeIf(reports::take);
        reports.expectNoOthers();
      }
      return new Outcome(process.exitValue(), lines, Files.readAllLines(err));
    } finally {
      Files.delete(out);
      Files.delete(err);
    }
  }

  /** What a child JVM left behind. */
  static final class Outcome {
    final int exitStatus;
    final List<String> out;
    final List<String> err;

    Outcome(int exitStatus, List<String> out, List<String> err) {
      this.exitStatus = exitStatus;
      this.out = out;
      this.err = err;
    }

    /** The output of a child that ended well and wrote nothing to its error output. */
    List<String> lines() {
      if (exitStatus != 0 || !err.isEmpty()) {
        throw new AssertionError(this);
      }
      return out;
    }

    @Override
    public String toString() {
      return "exit status "
          + exitStatus
          + "\nout:\n"
          + String.join("\n", out)
          + "\nerr:\n"
          + String.join("\n", err);
    }
  }
}
