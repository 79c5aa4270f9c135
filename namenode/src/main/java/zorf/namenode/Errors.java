package zorf.namenode;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.lang.reflect.UndeclaredThrowableException;
import java.nio.file.DirectoryNotEmptyException;
import java.nio.file.FileSystemException;
import java.nio.file.FileSystemLoopException;
import java.nio.file.NoSuchFileException;
import java.nio.file.NotDirectoryException;
import java.nio.file.attribute.UserPrincipalNotFoundException;
import org.apache.hadoop.fs.FileAlreadyExistsException;
import org.apache.hadoop.fs.ParentNotDirectoryException;
import org.apache.hadoop.fs.PathIsNotEmptyDirectoryException;
import org.apache.hadoop.hdfs.protocol.DSQuotaExceededException;
import org.apache.hadoop.hdfs.protocol.FSLimitException.PathComponentTooLongException;
import org.apache.hadoop.hdfs.server.namenode.zorf.UserThreadException;
import org.apache.hadoop.hdfs.server.namenode.zorf.ZorfFailure;
import org.apache.hadoop.ipc.RetriableException;
import org.apache.hadoop.security.AccessControlException;
import org.apache.hadoop.util.DiskChecker.DiskOutOfSpaceException;
import org.slf4j.Logger;
import org.slf4j.LoggerFactory;

/**
 * Turns what went wrong into what an HDFS client is told. No exception of {@code java.nio.file}
 * reaches a client, which would not know its class, and no text shows where the root is mounted.
 */
final class Errors {
  private static final Logger LOG = LoggerFactory.getLogger(Errors.class);
  private static final int MAX_NAME = 255;

  private final Root root;

  Errors(Root root) {
    this.root = root;
  }

  Throwable toClient(Throwable failure, Caller caller) {
    if (failure instanceof FileSystemException e) {
      return of(e, caller);
    }
    if (failure instanceof UserThreadException e) {
      return of(e, caller);
    }
    if (failure instanceof UserPrincipalNotFoundException e) {
      return new IOException(e.getName() + " is unknown on this host");
    }
    if (failure instanceof UndeclaredThrowableException || failure instanceof Error) {
      LOG.error("a call of {} failed", caller.user(), failure);
      return new IOException("the NameNode failed: " + failure);
    }
    return failure;
  }

  private IOException of(FileSystemException e, Caller caller) {
    String path = e.getFile() == null ? "" : root.remote(e.getFile());
    String reason = reason(e);
    if (e instanceof NoSuchFileException) {
      return new FileNotFoundException("File does not exist: " + path);
    }
    if (Access.isRefusal(e)) {
      return new AccessControlException(
          "Permission denied: user=" + caller.user() + ", path=\"" + path + "\"");
    }
    if (e instanceof java.nio.file.FileAlreadyExistsException) {
      return new FileAlreadyExistsException(path + " already exists");
    }
    if (e instanceof DirectoryNotEmptyException) {
      return new PathIsNotEmptyDirectoryException(path + " is non empty");
    }
    if (e instanceof FileSystemLoopException) {
      return new IOException("Too many levels of symbolic links: " + path);
    }
    if (e instanceof NotDirectoryException || reason.equals("Not a directory")) {
      return new ParentNotDirectoryException(path + " (is not a directory)");
    }
    if (reason.equals("File name too long")) {
      String parent = Paths.parent(path);
      return new PathComponentTooLongException(
          MAX_NAME, Paths.name(path).length(), parent == null ? "/" : parent, Paths.name(path));
    }
    if (reason.equals(Space.FULL)) {
      return new DiskOutOfSpaceException(reason + ": " + path);
    }
    if (reason.equals(Space.QUOTA)) {
      return new DSQuotaExceededException(reason + ": " + path);
    }
    if (reason.equals("Stale file handle")
        || reason.equals("Transport endpoint is not connected")
        || reason.equals("Host is down")) {
      return new RetriableException(reason + ": " + path);
    }
    return new IOException(path.isEmpty() ? reason : reason + ": " + path);
  }

  /** The system's text; what follows it may have the path on this host. */
  private static String reason(FileSystemException e) {
    String reason = e.getReason();
    if (reason == null) {
      return e.getClass().getSimpleName();
    }
    int colon = reason.indexOf(": ");
    boolean natives = e instanceof ZorfFailure && colon > 0;
    return natives && reason.indexOf('/', colon) > 0 ? reason.substring(0, colon) : reason;
  }

  private static IOException of(UserThreadException e, Caller caller) {
    return switch (e.reason()) {
      case UNKNOWN_USER ->
          new AccessControlException("user " + caller.user() + " is unknown on this host");
      case BUSY, CLOSED -> new RetriableException(e.getMessage());
      case REFUSED -> new IOException(e.getMessage());
    };
  }
}
