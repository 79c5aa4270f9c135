package zorf.namenode;

import java.io.IOException;
import java.nio.file.NoSuchFileException;
import org.apache.hadoop.hdfs.protocol.HdfsFileStatus;

/** Answers what a file is. */
final class StatusAnswers {
  private final Root root;
  private final Statuses statuses;

  StatusAnswers(Root root, Statuses statuses) {
    this.root = root;
    this.statuses = statuses;
  }

  /** A missing file is null, and no failure. */
  @ActsAs(ActsAs.Who.READER)
  HdfsFileStatus getFileInfo(String src) throws IOException {
    String local = root.local(src);
    try {
      return statuses.of(HdfsFileStatus.EMPTY_NAME, root.status(local).status());
    } catch (NoSuchFileException e) {
      return null;
    }
  }
}
