package org.apache.hadoop.hdfs.server.namenode.zorf;

import java.io.IOException;
import java.nio.file.AccessDeniedException;
import java.nio.file.FileSystemException;
import java.nio.file.NoSuchFileException;

/** Makes exceptions that know their file, reason and error number out of those of the natives. */
final class Failures {
  /** Null for none. */
  private static volatile NativeObserver observer;

  private Failures() {}

  static void observe(NativeObserver who) {
    observer = who;
  }

  /** A call of a native, with the exceptions that natives don't declare. */
  @FunctionalInterface
  interface Call<T> {
    T run() throws IOException;
  }

  /** Calls the native of this name about a file. */
  static <T> T calling(String name, String file, Call<T> call) throws IOException {
    NativeObserver hears = observer;
    if (hears == null) {
      return calling(file, call);
    }
    long start = System.nanoTime();
    try {
      return calling(file, call);
    } finally {
      hears.ended(name, System.nanoTime() - start);
    }
  }

  private static <T> T calling(String file, Call<T> call) throws IOException {
    try {
      return call.run();
    } catch (IOException e) {
      throw of(file, e);
    } catch (RuntimeException e) {
      if (e.getClass() != RuntimeException.class) {
        throw e; // not the library's, for which this class is ENOMEM
      }
      throw of(file, e);
    }
  }

  /** The message of a native is the system's text, ": ", and a detail, which mostly is the path. */
  private static FileSystemException of(String file, Exception e) {
    String message = String.valueOf(e.getMessage());
    int colon = message.indexOf(": ");
    String text = colon < 0 ? message : message.substring(0, colon);
    String detail = colon < 0 ? "" : message.substring(colon + 2);
    String reason = detail.isEmpty() || detail.equals(file) ? text : message;
    int errno = Errno.ofText(text);
    FileSystemException failure;
    if (e instanceof AccessDeniedException) {
      failure = new AccessDenied(file, reason, errno == 0 ? Errno.EACCES : errno);
    } else if (e instanceof NoSuchFileException) {
      failure = new NoSuchFile(file, reason, errno == 0 ? Errno.ENOENT : errno);
    } else {
      boolean noMemory = errno == 0 && e instanceof RuntimeException;
      failure = new Other(file, reason, noMemory ? Errno.ENOMEM : errno);
    }
    failure.initCause(e);
    return failure;
  }

  /** A failure that no native reports. */
  static FileSystemException of(String file, String reason, int errno) {
    return new Other(file, reason, errno);
  }

  private static final class AccessDenied extends AccessDeniedException implements ZorfFailure {
    private static final long serialVersionUID = 1L;

    /** See {@link ZorfFailure#errno}. */
    private final int errno;

    AccessDenied(String file, String reason, int errno) {
      super(file, null, reason);
      this.errno = errno;
    }

    @Override
    public int errno() {
      return errno;
    }
  }

  private static final class NoSuchFile extends NoSuchFileException implements ZorfFailure {
    private static final long serialVersionUID = 1L;

    /** See {@link ZorfFailure#errno}. */
    private final int errno;

    NoSuchFile(String file, String reason, int errno) {
      super(file, null, reason);
      this.errno = errno;
    }

    @Override
    public int errno() {
      return errno;
    }
  }

  private static final class Other extends FileSystemException implements ZorfFailure {
    private static final long serialVersionUID = 1L;

    /** See {@link ZorfFailure#errno}. */
    private final int errno;

    Other(String file, String reason, int errno) {
      super(file, null, reason);
      this.errno = errno;
    }

    @Override
    public int errno() {
      return errno;
    }
  }
}
