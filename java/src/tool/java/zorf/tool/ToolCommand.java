package zorf.tool;

import java.util.List;
import java.util.concurrent.Callable;
import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.Option;
import picocli.CommandLine.ParameterException;
import picocli.CommandLine.Spec;
import zorf.common.Sizes;

/** What all commands share. */
abstract class ToolCommand implements Callable<Integer> {
  static final int OK = 0;
  static final int FAILED = 1;
  static final int USAGE = 2;

  @Spec CommandSpec spec;

  @Option(
      names = {"-h", "--help"},
      usageHelp = true,
      description = "Show this help and exit.")
  private boolean help;

  @Option(
      names = "--debug",
      description = "Show the library's log lines and the stack traces of failures on stderr.")
  private boolean debug;

  boolean debug() {
    return debug;
  }

  /** Says that the command line is wrong. */
  ParameterException misuse(String text) {
    return new ParameterException(spec.commandLine(), text);
  }

  /** One line, and the trace if wanted. */
  void report(String path, Throwable problem) {
    Output.complain(Failure.describe(path, problem));
    if (debug) {
      problem.printStackTrace(Output.ERR);
      Output.ERR.flush();
    }
  }

  @Override
  public final Integer call() throws Exception {
    if (debug) {
      ToolLog.echoLines();
    }
    try {
      return run();
    } catch (OutOfMemoryError e) {
      throw new Failure(
          "out of memory (" + e.getMessage() + "): ask for less at once, or give Java more than its "
              + Sizes.human(Runtime.getRuntime().maxMemory()) + ", such as ZORFHADOOP_OPTS=-Xmx4g",
          e);
    }
  }

  /** Does what the command is for; the result is the exit status. */
  abstract int run() throws Exception;

  /** An action that is tried on each of several paths. */
  interface PathAction {
    void on(String path) throws Exception;
  }

  /** Goes on after a path that fails. */
  final int each(List<String> paths, PathAction action) {
    int result = OK;
    for (String path : paths) {
      try {
        action.on(path);
      } catch (Exception e) {
        report(path, e);
        result = FAILED;
      }
    }
    return result;
  }
}
