package zorf.namenode;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Objects;
import java.util.Optional;
import org.apache.hadoop.hdfs.protocol.DirectoryListing;
import org.apache.hadoop.hdfs.protocol.HdfsFileStatus;
import org.apache.hadoop.hdfs.protocol.LocatedBlocks;

/** Answers what is in a directory, a page at a time, in the order of the names' bytes. */
final class Listing {
  /** Entries that are worth another thread. */
  private static final int PIECE = 50;

  private final Root root;
  private final Access access;
  private final Statuses statuses;
  private final Blocks blocks;
  private final Helpers helpers;
  private final DirectoryNames names;
  private final int limit;

  /**
   * Takes what it asks.
   *
   * @param limit of entries in a page
   */
  Listing(
      Root root,
      Access access,
      Statuses statuses,
      Blocks blocks,
      Helpers helpers,
      DirectoryNames names,
      int limit) {
    this.root = root;
    this.access = access;
    this.statuses = statuses;
    this.blocks = blocks;
    this.helpers = helpers;
    this.names = names;
    this.limit = limit;
  }

  @ActsAs(ActsAs.Who.READER)
  DirectoryListing getListing(String src, byte[] startAfter, boolean needLocation)
      throws IOException {
    return access.guard(src, Access.Need.LIST, () -> page(src, startAfter, needLocation));
  }

  private DirectoryListing page(String src, byte[] startAfter, boolean needLocation)
      throws IOException {
    Optional<Entry> found = root.find(src);
    if (found.isEmpty()) {
      return null;
    }
    Entry entry = found.get();
    if (!entry.isDirectory()) {
      HdfsFileStatus file = status(entry, HdfsFileStatus.EMPTY_NAME, needLocation);
      return new DirectoryListing(new HdfsFileStatus[] {file}, 0);
    }
    List<byte[]> all = names.of(entry, startAfter.length > 0);
    int next = firstAfter(all, startAfter);
    List<HdfsFileStatus> page = new ArrayList<>(Math.min(limit, all.size() - next));
    while (next < all.size() && page.size() < limit) {
      int end = Math.min(all.size(), next + limit - page.size());
      page.addAll(statuses(src, all.subList(next, end), needLocation));
      next = end;
    }
    return new DirectoryListing(page.toArray(new HdfsFileStatus[0]), all.size() - next);
  }

  /** Those of these names that have not vanished since the directory was read. */
  private List<HdfsFileStatus> statuses(
      String directory, List<byte[]> wanted, boolean needLocation) throws IOException {
    HdfsFileStatus[] found = new HdfsFileStatus[wanted.size()];
    Helpers.Team team = helpers.team();
    team.complete(
        () -> {
          for (int start = 0; start < found.length; start += PIECE) {
            int first = start;
            int end = Math.min(start + PIECE, found.length);
            team.run(
                () -> {
                  for (int i = first; i < end; i++) {
                    found[i] = status(directory, wanted.get(i), needLocation);
                  }
                });
          }
        });
    return Arrays.stream(found).filter(Objects::nonNull).toList();
  }

  private HdfsFileStatus status(String directory, byte[] name, boolean needLocation)
      throws IOException {
    String path = Paths.child(directory, new String(name, StandardCharsets.UTF_8));
    Optional<Entry> child = root.findListed(path);
    return child.isPresent() ? status(child.get(), name, needLocation) : null;
  }

  private static int firstAfter(List<byte[]> names, byte[] name) {
    int low = 0;
    int high = names.size();
    while (low < high) {
      int middle = (low + high) >>> 1;
      if (Arrays.compareUnsigned(names.get(middle), name) <= 0) {
        low = middle + 1;
      } else {
        high = middle;
      }
    }
    return name.length == 0 ? 0 : low;
  }

  private HdfsFileStatus status(Entry entry, byte[] name, boolean needLocation)
      throws IOException {
    LocatedBlocks located =
        needLocation && entry.isFile() ? blocks.of(entry, 0, Long.MAX_VALUE, false) : null;
    return statuses.of(entry, name, located);
  }
}
