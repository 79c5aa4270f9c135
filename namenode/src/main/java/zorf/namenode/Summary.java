package zorf.namenode;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.nio.file.DirectoryIteratorException;
import java.nio.file.DirectoryStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.atomic.LongAdder;
import org.apache.hadoop.fs.ContentSummary;
import org.apache.hadoop.fs.QuotaUsage;

/** Counts what is below a path. There are no quotas. */
final class Summary {
  /** Names that are worth another thread. */
  private static final int PIECE = 100;

  private static final long NO_QUOTA = -1;

  private final Root root;
  private final Access access;
  private final Helpers helpers;

  Summary(Root root, Access access, Helpers helpers) {
    this.root = root;
    this.access = access;
    this.helpers = helpers;
  }

  private static final class Counts {
    private final LongAdder length = new LongAdder();
    private final LongAdder space = new LongAdder();
    private final LongAdder files = new LongAdder();
    private final LongAdder directories = new LongAdder();
  }

  @ActsAs(ActsAs.Who.READER)
  ContentSummary getContentSummary(String path) throws IOException {
    Counts counts = count(path);
    return new ContentSummary.Builder()
        .length(counts.length.sum())
        .fileCount(counts.files.sum())
        .directoryCount(counts.directories.sum())
        .spaceConsumed(counts.space.sum())
        .quota(NO_QUOTA)
        .spaceQuota(NO_QUOTA)
        .erasureCodingPolicy("")
        .build();
  }

  @ActsAs(ActsAs.Who.READER)
  QuotaUsage getQuotaUsage(String path) throws IOException {
    Counts counts = count(path);
    return new QuotaUsage.Builder()
        .fileAndDirectoryCount(counts.files.sum() + counts.directories.sum())
        .spaceConsumed(counts.space.sum())
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
    Helpers.Team team = helpers.team();
    team.complete(() -> add(entry, counts, team));
    return counts;
  }

  private void add(Entry entry, Counts counts, Helpers.Team team) throws IOException {
    if (!entry.isDirectory()) {
      counts.files.increment();
      if (entry.isFile()) {
        counts.length.add(entry.size());
        counts.space.add(entry.size() * entry.replication());
      }
      return;
    }
    counts.directories.increment();
    team.run(() -> addChildren(entry.path(), counts, team));
  }

  private void addChildren(String directory, Counts counts, Helpers.Team team)
      throws IOException {
    access.guard(
        directory,
        Access.Need.LIST,
        () -> {
          read(directory, counts, team);
          return null;
        });
  }

  private void read(String directory, Counts counts, Helpers.Team team) throws IOException {
    List<String> piece = new ArrayList<>(PIECE);
    try (DirectoryStream<Path> children = Files.newDirectoryStream(root.localPath(directory))) {
      for (Path child : children) {
        piece.add(child.getFileName().toString());
        if (piece.size() == PIECE) {
          List<String> names = piece;
          team.run(() -> addAll(directory, names, counts, team));
          piece = new ArrayList<>(PIECE);
        }
      }
    } catch (DirectoryIteratorException e) {
      throw e.getCause();
    }
    addAll(directory, piece, counts, team);
  }

  private void addAll(String directory, List<String> names, Counts counts, Helpers.Team team)
      throws IOException {
    access.guard(
        directory,
        Access.Need.LIST,
        () -> {
          for (String name : names) {
            Entry entry = root.findSize(Paths.child(directory, name)).orElse(null);
            if (entry != null) { // else it has vanished since the directory was read
              add(entry, counts, team);
            }
          }
          return null;
        });
  }
}
