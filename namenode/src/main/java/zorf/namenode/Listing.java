package zorf.namenode;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.DirectoryStream;
import java.nio.file.Files;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import org.apache.hadoop.hdfs.protocol.DirectoryListing;
import org.apache.hadoop.hdfs.protocol.HdfsFileStatus;

/** Answers what is in a directory, a page at a time, in the order of the names' bytes. */
final class Listing {
  private final Root root;
  private final Statuses statuses;
  private final int limit;

  Listing(Root root, Statuses statuses, int limit) {
    this.root = root;
    this.statuses = statuses;
    this.limit = limit;
  }

  @ActsAs(ActsAs.Who.READER)
  DirectoryListing getListing(String src, byte[] startAfter, boolean needLocation)
      throws IOException {
    Path directory = Path.of(root.local(src));
    if (!Files.isDirectory(directory)) {
      try {
        HdfsFileStatus file =
            statuses.of(new byte[0], root.status(directory.toString()).status());
        return new DirectoryListing(new HdfsFileStatus[] {file}, 0);
      } catch (NoSuchFileException e) {
        return null;
      }
    }
    List<byte[]> names = names(directory);
    int next = 0;
    while (next < names.size() && Arrays.compareUnsigned(names.get(next), startAfter) <= 0) {
      next++;
    }
    List<HdfsFileStatus> page = new ArrayList<>();
    for (; next < names.size() && page.size() < limit; next++) {
      byte[] name = names.get(next);
      try {
        String local = directory.resolve(new String(name, StandardCharsets.UTF_8)).toString();
        page.add(statuses.of(name, root.status(local).status()));
      } catch (NoSuchFileException e) {
        // It has vanished since the directory was read.
      }
    }
    return new DirectoryListing(page.toArray(new HdfsFileStatus[0]), names.size() - next);
  }

  private static List<byte[]> names(Path directory) throws IOException {
    List<byte[]> names = new ArrayList<>();
    try (DirectoryStream<Path> entries = Files.newDirectoryStream(directory)) {
      for (Path entry : entries) {
        names.add(entry.getFileName().toString().getBytes(StandardCharsets.UTF_8));
      }
    }
    names.sort(Arrays::compareUnsigned);
    return names;
  }
}
