package zorf.tool;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assumptions.assumeFalse;

import java.io.IOException;
import java.io.InputStream;
import java.io.OutputStream;
import java.nio.charset.StandardCharsets;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.concurrent.CompletableFuture;
import java.util.concurrent.TimeUnit;

/** Runs the tool as a shell would, through its launcher, on the JDK of the test. */
final class Launcher {
  private static final int TIMEOUT_SECONDS = 120;

  private final Path directory;
  private final Map<String, String> environment = new LinkedHashMap<>();
  private String launcher = System.getProperty("zorf.test.launcher");
  private List<String> prefix = List.of();
  private String input = "";

  Launcher(Path directory) {
    this.directory = directory;
    environment.put("JAVA_HOME", System.getProperty("java.home"));
  }

  Launcher with(String variable, String value) {
    environment.put(variable, value);
    return this;
  }

  Launcher input(String text) {
    input = text;
    return this;
  }

  /** Lets another command run it. */
  Launcher under(String... words) {
    prefix = Arrays.asList(words);
    return this;
  }

  Launcher launcher(Path file) {
    launcher = file.toString();
    return this;
  }

  /** What a run left. */
  static final class Result {
    final String command;
    final int status;
    final String out;
    final String err;

    Result(String command, int status, String out, String err) {
      this.command = command;
      this.status = status;
      this.out = out;
      this.err = err;
    }

    /** Asserts that it worked without a word on stderr; gives what it printed. */
    String works() {
      assertEquals("", err, command);
      assertEquals(0, status, command);
      return out;
    }

    /** Asserts that it failed with one line. */
    void fails(int expected, String line) {
      assertEquals("zorfhadoop: " + line + "\n", err, command);
      assertEquals(expected, status, command);
    }
  }

  Result run(String... arguments) throws Exception {
    List<String> command = new ArrayList<>(prefix);
    command.add(launcher);
    command.addAll(Arrays.asList(arguments));
    ProcessBuilder builder = new ProcessBuilder(command).directory(directory.toFile());
    builder.environment().remove("ZORF_TOPOLOGY");
    builder.environment().remove("ZORFHADOOP_OPTS");
    builder.environment().putAll(environment);
    Process process = builder.start();
    CompletableFuture<String> err =
        CompletableFuture.supplyAsync(() -> text(process.getErrorStream()));
    try (OutputStream stdin = process.getOutputStream()) {
      stdin.write(input.getBytes(StandardCharsets.UTF_8));
    } catch (IOException e) {
      // It need not read it.
    }
    String out = text(process.getInputStream());
    if (!process.waitFor(TIMEOUT_SECONDS, TimeUnit.SECONDS)) {
      process.destroyForcibly();
      throw new AssertionError(command + " hangs");
    }
    return new Result(command.toString(), process.exitValue(), out, err.get());
  }

  /** Runs a command of the shell on a terminal of its own, where there can be any. */
  Result runOnTerminal(String command) throws Exception {
    Result result = launcher(Paths.get("/usr/bin/script")).run("-qec", command, "/dev/null");
    assumeFalse(
        result.err.startsWith("script: failed to create pseudo-terminal"),
        "there are no terminals without /dev/pts");
    return result;
  }

  private static String text(InputStream stream) {
    try {
      return new String(stream.readAllBytes(), StandardCharsets.UTF_8);
    } catch (IOException e) {
      return e.toString();
    }
  }

  static boolean isRoot() {
    return "root".equals(System.getProperty("user.name"));
  }
}
