package zorf.namenode;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.channels.FileChannel;
import java.nio.file.FileSystemException;
import java.nio.file.Path;
import java.nio.file.StandardOpenOption;
import java.util.EnumSet;
import java.util.UUID;

/**
 * Whether the files of the calling thread's user may grow. Nobody but the file system knows its quotas,
 * so that it is tried: with a file beside, which has no name while it is written.
 */
final class Space {
  static final String FULL = "No space left on device";
  static final String QUOTA = "Disk quota exceeded";

  /** What a DataNode takes at a time from a writer, by default. */
  private static final int TRIED = 1 << 16;

  private final Root root;

  Space(Root root) {
    this.root = root;
  }

  /**
   * Tries.
   *
   * @param path a file
   * @throws FileSystemException if there is no space for more of it; who may not make files in its
   *     directory is not told
   */
  void check(String path) throws IOException {
    Path beside =
        root.localPath(Paths.child(Paths.parent(path), ".zorf-space-" + UUID.randomUUID()));
    try (FileChannel file =
        FileChannel.open(
            beside,
            EnumSet.of(
                StandardOpenOption.CREATE_NEW,
                StandardOpenOption.WRITE,
                StandardOpenOption.DELETE_ON_CLOSE), // deletes it at once
            Directories.attribute(0600))) {
      for (ByteBuffer bytes = ByteBuffer.allocate(TRIED); bytes.hasRemaining(); ) {
        file.write(bytes);
      }
      file.force(false); // some file systems find out no sooner
    } catch (IOException e) {
      String reason = e instanceof FileSystemException failed ? failed.getReason() : e.getMessage();
      if (FULL.equals(reason) || QUOTA.equals(reason)) {
        throw new FileSystemException(root.local(path), null, reason);
      }
    }
  }
}
