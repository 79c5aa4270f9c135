package zorf.namenode;

import java.io.IOException;
import java.nio.file.FileSystemException;

/** Turns what went wrong into what an HDFS client is told. */
final class Errors {
  private Errors() {}

  static Throwable toClient(Throwable failure, Caller caller) {
    if (failure instanceof FileSystemException e) {
      return new IOException(e.getReason());
    }
    return failure;
  }
}
