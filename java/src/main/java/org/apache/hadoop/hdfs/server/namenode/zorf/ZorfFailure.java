package org.apache.hadoop.hdfs.server.namenode.zorf;

/**
 * What every exception of {@link ZorfFiles} that comes from the system is, beside a {@link
 * java.nio.file.FileSystemException} that knows its file and the reason:
 *
 * <pre>{@code
 * } catch (IOException e) {
 *   int errno = ZorfFailure.errnoOf(e);
 * }</pre>
 */
public interface ZorfFailure {
  /**
   * The error number of the system, such as 13 for EACCES. Taken from the system's text for it, so
   * where that is translated the number is that of the class of exception: 13 for {@link
   * java.nio.file.AccessDeniedException}, 2 for {@link java.nio.file.NoSuchFileException}.
   *
   * @return the number, 0 if it is not known
   */
  int errno();

  /**
   * The error number of any exception.
   *
   * @param e the exception
   * @return its {@link #errno}, 0 if it has none
   */
  static int errnoOf(Throwable e) {
    return e instanceof ZorfFailure ? ((ZorfFailure) e).errno() : 0;
  }
}
