package zorf.namenode;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.nio.file.DirectoryIteratorException;
import java.nio.file.DirectoryStream;
import java.nio.file.Files;
import java.nio.file.Path;
import org.apache.hadoop.fs.ContentSummary;
import org.apache.hadoop.fs.QuotaUsage;

/** Counts what is below a path. There are no quotas. */
final class Summary {
  private static final long NO_QUOTA = -1;

  private final Root root;
  private final Access access;

  Summary(Root root, Access access) {
    this.root = root;
    this.access = access;
  }

  private static final class Counts {
    private long length;
    private long space;
    private long files;
    private long directories;
  }

  @ActsAs(ActsAs.Who.READER)
  ContentSummary getContentSummary(String path) throws IOException {
    Counts counts = count(path);
    return new ContentSummary.Builder()
        .length(counts.length)
        .fileCount(counts.files)
        .directoryCount(counts.directories)
        .spaceConsumed(counts.space)
        .quota(NO_QUOTA)
        .spaceQuota(NO_QUOTA)
        .erasureCodingPolicy("")
        .build();
  }

  @ActsAs(ActsAs.Who.READER)
  QuotaUsage getQuotaUsage(String path) throws IOException {
    Counts counts = count(path);
    return new QuotaUsage.Builder()
        .fileAndDirectoryCount(counts.files + counts.directories)
        .spaceConsumed(counts.space)
        .quota(NO_QUOTA)
        .spaceQuota(NO_QUOTA)
        .build();
  }

  private Counts count(String path) throws IOException {
    Entry entry =
        access.guard(
            path,
            Access.Need.NOTHING,
            () ->
                root.find(path)
                    .orElseThrow(
                        () -> new FileNotFoundException("File does not exist: " + path)));
    Counts counts = new Counts();
    add(entry, counts);
    return counts;
  }

  private void add(Entry entry, Counts counts) throws IOException {
    if (!entry.isDirectory()) {
      counts.files++;
      if (entry.isFile()) {
        counts.length += entry.size();
        counts.space += entry.size() * entry.replication();
      }
      return;
    }
    counts.directories++;
    access.guard(
        entry.path(),
        Access.Need.LIST,
        () -> {
          addChildren(entry, counts);
          return null;
        });
  }

  private void addChildren(Entry directory, Counts counts) throws IOException {
    try (DirectoryStream<Path> children =
        Files.newDirectoryStream(root.localPath(directory.path()))) {
      for (Path child : children) {
        String path = Paths.child(directory.path(), child.getFileName().toString());
        Entry entry = root.findLink(path).orElse(null);
        if (entry != null) {
          add(entry, counts);
        }
      }
    } catch (DirectoryIteratorException e) {
      throw e.getCause();
    }
  }
}
