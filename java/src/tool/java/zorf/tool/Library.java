package zorf.tool;

import org.apache.hadoop.hdfs.server.namenode.ZORFNative;
import org.apache.hadoop.hdfs.server.namenode.zorf.StatusLayout;
import org.apache.hadoop.hdfs.server.namenode.zorf.ZorfFiles;

/** The load of the library, with a failure that can be read. */
final class Library {
  private static StatusLayout layout;
  private static ZorfFiles files;

  private Library() {}

  /** Loads the library if it is not yet; what goes wrong is a {@link Failure}. */
  static void load() {
    try {
      Class.forName(ZORFNative.class.getName());
    } catch (ClassNotFoundException | LinkageError e) {
      throw new Failure("can't load the library: " + reason(e) + " (try: zorfhadoop doctor)", e);
    }
  }

  static String reason(Throwable e) {
    Throwable cause = e;
    while (cause.getCause() != null) {
      cause = cause.getCause();
    }
    return cause.getMessage() == null ? cause.toString() : cause.getMessage();
  }

  static StatusLayout layout() {
    if (layout == null) {
      layout = new StatusLayout(ZORFNative.getFileStatusFormatNative());
    }
    return layout;
  }

  static ZorfFiles files() {
    if (files == null) {
      files = ZorfFiles.create();
    }
    return files;
  }
}
