package zorf.namenode;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.file.Path;
import org.apache.hadoop.fs.InvalidPathException;
import org.apache.hadoop.hdfs.server.namenode.ZORFNative;
import org.apache.hadoop.hdfs.server.namenode.zorf.LocatedFileStatus;
import org.apache.hadoop.hdfs.server.namenode.zorf.StatusLayout;
import org.apache.hadoop.hdfs.server.namenode.zorf.ZorfFiles;

/** The directory that clients see as "/": paths below it, and the status of what they name. */
final class Root {
  private static final int MAX_LENGTH = 8000;
  private static final int MAX_COMPONENTS = 1000;

  private final String directory;
  private final StatusLayout layout = new StatusLayout(ZORFNative.getFileStatusFormatNative());
  private final ZorfFiles files;

  /**
   * Takes a directory.
   *
   * @param directory an absolute path without a link in it
   * @param files asks the file system
   */
  Root(Path directory, ZorfFiles files) {
    String text = directory.toString();
    this.directory = text.equals("/") ? "" : text;
    this.files = files;
  }

  /** {@return what asks the file system about paths of {@link #local}} */
  ZorfFiles files() {
    return files;
  }

  /**
   * The path on this host of a client's path.
   *
   * @throws InvalidPathException if it is none that HDFS allows
   */
  String local(String path) {
    check(path);
    if (path.equals("/")) {
      return directory.isEmpty() ? "/" : directory;
    }
    return directory + path;
  }

  private static void check(String path) {
    if (path.isEmpty() || path.charAt(0) != '/') {
      throw new InvalidPathException(path, "it is not absolute");
    }
    if (path.length() > MAX_LENGTH) {
      throw new InvalidPathException(
          path.substring(0, 40) + "...", "it is longer than " + MAX_LENGTH + " characters");
    }
    if (path.indexOf('\0') >= 0) {
      throw new InvalidPathException(path.replace('\0', '?'), "it has a NUL character");
    }
    if (path.length() == 1) {
      return;
    }
    String[] components = path.substring(1).split("/", -1);
    if (components.length > MAX_COMPONENTS) {
      throw new InvalidPathException(
          path.substring(0, 40) + "...", "it has more than " + MAX_COMPONENTS + " components");
    }
    for (String component : components) {
      if (component.isEmpty() || component.equals(".") || component.equals("..")) {
        throw new InvalidPathException(path);
      }
    }
  }

  /** The status of what a local path names, links followed. */
  Located status(String local) throws IOException {
    byte[] bytes = ZORFNative.getLocatedFileStatusNative(local, true, false, true);
    long device = ByteBuffer.wrap(bytes).order(ByteOrder.nativeOrder()).getLong(0);
    return new Located(LocatedFileStatus.decode(layout, bytes, true), device);
  }

  /**
   * The status of a file and the device that it is on.
   *
   * @param status the status
   * @param device st_dev
   */
  record Located(LocatedFileStatus status, long device) {}
}
