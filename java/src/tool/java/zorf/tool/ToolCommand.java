package zorf.tool;

import java.util.List;
import java.util.concurrent.Callable;
import picocli.CommandLine.Option;

/** What all commands share that do something. */
abstract class ToolCommand extends HelpedCommand implements Callable<Integer> {
  static final int OK = 0;
  static final int FAILED = 1;
  static final int USAGE = 2;

  @Option(
      names = "--debug",
      description = "Show the library's log lines and the stack traces of failures on stderr.")
  private boolean debug;

  @Option(
      names = "--json",
      description = "Print one JSON object per line and path, with \"error\" for one that failed.")
  boolean json;

  boolean debug() {
    return debug;
  }

  private static String describe(String path, Throwable problem) {
    boolean mangled = !(problem instanceof Failure) && Tree.mangled(path);
    return Failure.describe(path, problem) + (mangled ? " (" + Tree.NOT_ASKABLE + ")" : "");
  }

  /** One line, and the trace if wanted. */
  void report(String path, Throwable problem) {
    Output.complain(describe(path, problem));
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
  int each(List<String> paths, PathAction action) {
    int result = OK;
    for (String path : paths) {
      result |= attempt(path, action);
    }
    return result;
  }

  /** As {@link #each}, and tells readers of JSON what was done. */
  final int change(List<String> paths, PathAction action) {
    return each(
        paths,
        path -> {
          action.on(path);
          if (json) {
            Output.OUT.println(new Json().object().put("path", path).put("done", true).end());
          }
        });
  }

  final int attempt(String path, PathAction action) {
    try {
      action.on(path);
      return OK;
    } catch (Exception e) {
      return failed(path, e);
    }
  }

  /** Reports what happened to one of several paths; the result is the exit status. */
  final int failed(String path, Exception e) {
    report(path, e);
    if (json) {
      String error = describe(path, e);
      Output.OUT.println(new Json().object().put("path", path).put("error", error).end());
    }
    return FAILED;
  }
}
