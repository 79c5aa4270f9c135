package zorf.testing;

import java.io.BufferedReader;
import java.io.IOException;
import java.io.InputStreamReader;
import java.nio.charset.StandardCharsets;
import java.util.Arrays;
import java.util.List;

/** Runs a JVM that has {@link JniReports#OPTION} and reads what it prints. */
public final class CheckedRun {
  private CheckedRun() {}

  /**
   * Runs a command and shows its output. The exit status is that of the command; 1 if it is 0 but a
   * misuse of JNI was reported.
   *
   * @param arguments "loads" if the library is loaded in the JVM itself or "forks" if only in its
   *     children, then the command
   */
  public static void main(String[] arguments) throws IOException, InterruptedException {
    List<String> command = Arrays.asList(arguments).subList(1, arguments.length);
    if (command.stream().noneMatch(JniReports.OPTION::equals)) {
      throw new IllegalArgumentException("no " + JniReports.OPTION + " in " + command);
    }
    Process process = new ProcessBuilder(command).redirectErrorStream(true).start();
    JniReports reports = new JniReports();
    try (BufferedReader out =
        new BufferedReader(
            new InputStreamReader(process.getInputStream(), StandardCharsets.UTF_8))) {
      for (String line = out.readLine(); line != null; line = out.readLine()) {
        reports.take(line);
        System.out.println(line);
      }
    }
    int status = process.waitFor();
    if (status == 0) {
      if (arguments[0].equals("loads")) {
        reports.expectOneLoad();
      } else {
        reports.expectNoOthers();
      }
    }
    System.exit(status);
  }
}
