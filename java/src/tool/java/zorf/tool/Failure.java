package zorf.tool;

import java.io.IOException;
import java.nio.file.AccessDeniedException;
import java.nio.file.FileSystemException;
import java.nio.file.NoSuchFileException;

/** A failure whose message is all that the user has to know. */
final class Failure extends RuntimeException {
  private static final long serialVersionUID = 1;

  Failure(String message) {
    super(message);
  }

  Failure(String message, Throwable cause) {
    super(message, cause);
  }

  /**
   * One line about what went wrong with a path. The library's messages read "system text: detail",
   * where the detail may be the path, may hold it, may be something else or may be missing.
   */
  static String describe(String path, Throwable problem) {
    if (problem instanceof Failure) {
      return oneLine(problem.getMessage());
    }
    String message = problem.getMessage();
    if (message == null || message.isEmpty()) {
      return oneLine(path + ": " + problem.getClass().getSimpleName());
    }
    int colon = message.indexOf(": ");
    if (colon < 0) {
      return oneLine(path + ": " + message);
    }
    String system = message.substring(0, colon);
    String detail = message.substring(colon + 2);
    if (detail.isEmpty() || detail.equals(path)) {
      return oneLine(path + ": " + system);
    }
    return oneLine((detail.contains(path) ? "" : path + ": ") + detail + ": " + system);
  }

  /** What the system says of an error, without the library's detail. */
  static String systemText(Throwable problem) {
    String message = problem.getMessage();
    if (message == null) {
      return problem.getClass().getSimpleName();
    }
    int colon = message.indexOf(": ");
    return oneLine(colon < 0 ? message : message.substring(0, colon));
  }

  /** Why Java itself could not do something with a file; its messages are often only the path. */
  static String reason(IOException e) {
    if (e instanceof AccessDeniedException) {
      return "Permission denied";
    }
    if (e instanceof NoSuchFileException) {
      return "No such file or directory";
    }
    String reason = e instanceof FileSystemException ? ((FileSystemException) e).getReason() : null;
    return reason != null ? reason : String.valueOf(e.getMessage());
  }

  private static String oneLine(String text) {
    return Output.printable(text);
  }
}
