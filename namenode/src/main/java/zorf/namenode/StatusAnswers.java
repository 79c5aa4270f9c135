package zorf.namenode;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.util.Optional;
import org.apache.hadoop.hdfs.protocol.HdfsFileStatus;
import org.apache.hadoop.hdfs.protocol.HdfsLocatedFileStatus;
import org.apache.hadoop.hdfs.protocol.LocatedBlocks;
import org.apache.hadoop.security.AccessControlException;

/** Answers what a file is. A missing one is null, and no failure. */
final class StatusAnswers {
  private final Root root;
  private final Access access;
  private final Statuses statuses;
  private final Blocks blocks;
  private final Leases leases;

  StatusAnswers(Root root, Access access, Statuses statuses, Blocks blocks, Leases leases) {
    this.root = root;
    this.access = access;
    this.statuses = statuses;
    this.blocks = blocks;
    this.leases = leases;
  }

  @ActsAs(ActsAs.Who.READER)
  HdfsFileStatus getFileInfo(String src) throws IOException {
    Optional<Entry> entry = access.guard(src, Access.Need.NOTHING, () -> lookUp(src, true));
    return entry.isEmpty() ? null : statuses.of(entry.get());
  }

  @ActsAs(ActsAs.Who.READER)
  HdfsFileStatus getFileLinkInfo(String src) throws IOException {
    Optional<Entry> entry = access.guard(src, Access.Need.NOTHING, () -> lookUp(src, false));
    return entry.isEmpty() ? null : statuses.of(entry.get());
  }

  private Optional<Entry> lookUp(String src, boolean followLink) throws IOException {
    Optional<Entry> entry = followLink ? root.find(src) : root.findLink(src);
    if (entry.isEmpty() && !Caller.current().superuser()) {
      checkWay(src);
    }
    return entry;
  }

  /** A file on the way is no directory to users, and as good as missing to the superuser. */
  private void checkWay(String src) throws IOException {
    Optional<Entry> above = Optional.empty();
    String directory = src;
    while (above.isEmpty()) {
      directory = Paths.parent(directory);
      above = root.find(directory);
    }
    if (!above.get().isDirectory()) {
      throw new AccessControlException(root.told(above.get()) + " (is not a directory)");
    }
  }

  @ActsAs(ActsAs.Who.READER)
  HdfsLocatedFileStatus getLocatedFileInfo(String src, boolean needBlockToken)
      throws IOException {
    Optional<Entry> entry = access.guard(src, Access.Need.NOTHING, () -> lookUp(src, true));
    if (entry.isEmpty()) {
      return null;
    }
    LocatedBlocks located =
        access.guard(
            src, Access.Need.READ, () -> blocks.of(entry.get(), 0, Long.MAX_VALUE, needBlockToken));
    return (HdfsLocatedFileStatus) statuses.of(entry.get(), HdfsFileStatus.EMPTY_NAME, located);
  }

  @ActsAs(ActsAs.Who.READER)
  boolean isFileClosed(String src) throws IOException {
    Entry entry = access.guard(src, Access.Need.NOTHING, () -> root.get(src));
    if (!entry.isFile()) {
      throw new FileNotFoundException("Path is not a file: " + src);
    }
    return !leases.isHeld(entry.inode());
  }

  @ActsAs(ActsAs.Who.READER)
  long getPreferredBlockSize(String filename) throws IOException {
    Entry entry = access.guard(filename, Access.Need.NOTHING, () -> root.get(filename));
    if (!entry.isFile()) {
      throw new FileNotFoundException("Path is not a file: " + filename);
    }
    return entry.blockSize();
  }
}
