package zorf.soak;

import java.io.IOException;
import java.nio.file.AccessDeniedException;
import java.nio.file.NoSuchFileException;
import java.util.Arrays;
import java.util.Objects;
import java.util.concurrent.Callable;

/** What a native must answer; anything else ends the run. */
final class Expect {
  private Expect() {}

  static void equal(String what, Object expected, Object actual) {
    if (!Objects.equals(expected, actual)) {
      throw new AssertionError(what + ": expected " + expected + ", got " + actual);
    }
  }

  static void equal(String what, byte[] expected, byte[] actual) {
    if (!Arrays.equals(expected, actual)) {
      throw new AssertionError(
          what + ": expected " + Arrays.toString(expected) + ", got " + Arrays.toString(actual));
    }
  }

  static void that(boolean holds, String what) {
    if (!holds) {
      throw new AssertionError(what);
    }
  }

  /** EACCES. */
  static void denied(String message, Callable<?> call) throws Exception {
    failing(AccessDeniedException.class, "Permission denied: " + message, call);
  }

  /** EPERM. */
  static void notPermitted(String message, Callable<?> call) throws Exception {
    failing(AccessDeniedException.class, "Operation not permitted: " + message, call);
  }

  static void missing(String message, Callable<?> call) throws Exception {
    failing(NoSuchFileException.class, "No such file or directory: " + message, call);
  }

  static void invalid(String message, Callable<?> call) throws Exception {
    failing(IOException.class, "Invalid argument: " + message, call);
  }

  static void failing(Class<? extends Exception> type, String message, Callable<?> call)
      throws Exception {
    Object answer;
    try {
      answer = call.call();
    } catch (Exception e) {
      if (e.getClass() == type && message.equals(e.getMessage())) {
        return;
      }
      throw e;
    }
    throw new AssertionError("expected \"" + message + "\", got the answer " + answer);
  }

  /** Lets a native without a result be called where a result is asked for. */
  static Callable<Void> doing(Runnable call) {
    return () -> {
      call.run();
      return null;
    };
  }
}
