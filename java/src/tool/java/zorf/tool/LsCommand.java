package zorf.tool;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.util.ArrayDeque;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.Deque;
import java.util.List;
import java.util.Optional;
import java.util.TreeSet;
import org.apache.hadoop.hdfs.server.namenode.ZORFNative;
import org.apache.hadoop.hdfs.server.namenode.zorf.AclFormat;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockLocations;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockPolicy;
import org.apache.hadoop.hdfs.server.namenode.zorf.FileStatus;
import org.apache.hadoop.hdfs.server.namenode.zorf.FileType;
import org.apache.hadoop.hdfs.server.namenode.zorf.LocatedFileStatus;
import picocli.CommandLine.Command;
import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;

@Command(
    name = "ls",
    description = {
      "Lists directories with the located status of each entry: what \"ls -l\" shows, a \"+\" for"
          + " an ACL, and for regular files the replica count, the HDFS block size, the number of"
          + " blocks and of the locations that hold them.",
      "A \"*\" after a name: " + Tree.NOT_ASKABLE + ". Nothing but the name is known then; what is"
          + " not UTF-8 in it stands as \\ooo."
    },
    footer = {
      "  zorfhadoop ls /zorf/data",
      "  zorfhadoop ls -R --as alice /zorf/data",
      "  zorfhadoop ls --policy local /zorf/data      the file system's own blocks",
      "  zorfhadoop ls -R --json /zorf | jq -r 'select(.replicas < 2) | .path'"
    })
final class LsCommand extends FileCommand {
  @Parameters(
      paramLabel = "PATH",
      arity = "1..*",
      description = "Directories to list, or files to show.")
  private List<String> paths;

  @Option(
      names = {"-R", "--recursive"},
      description =
          "List the directories below as well. Symbolic links are not followed. How far the walk"
              + " is shows on stderr if that is a terminal.")
  private boolean recursive;

  @Option(
      names = {"-p", "--policy"},
      paramLabel = "POLICY",
      defaultValue = "rackaware",
      completionCandidates = Policies.class,
      converter = Policies.class,
      description = "local, shared, rackaware or rackaware-sort (default: ${DEFAULT-VALUE}).")
  private BlockPolicy policy;

  private final Progress progress = new Progress();
  private int result = OK;
  private int marked;
  private boolean began;

  @Override
  int runAsUser() throws IOException {
    List<Path> files = new ArrayList<>();
    List<Path> directories = new ArrayList<>();
    result = each(
        paths,
        path -> {
          Path start = Paths.get(path);
          // An empty path is none, though Java takes it for the working directory.
          (!path.isEmpty() && Files.isDirectory(start) ? directories : files).add(start);
        });
    if (!files.isEmpty()) {
      print(files, null);
      began = true;
    }
    for (Path directory : directories) {
      walk(directory);
    }
    progress.clear();
    if (marked > 0 && !json) {
      Output.OUT.println("\n* " + Sizes.count(marked, "name") + ": " + Tree.NOT_ASKABLE);
    }
    return result;
  }

  /** Depth first, each directory's entries together. */
  private void walk(Path start) {
    Deque<Path> open = new ArrayDeque<>();
    open.push(start);
    while (!open.isEmpty()) {
      List<Path> below = list(open.pop());
      Collections.reverse(below);
      below.forEach(open::push);
    }
  }

  private void failed(Path path, Exception e) {
    progress.clear();
    result = failed(path.toString(), e);
  }

  /** Prints a directory; the result are the directories in it if they shall be listed too. */
  private List<Path> list(Path directory) {
    List<Path> entries;
    try {
      entries = Tree.entries(directory);
    } catch (Failure e) {
      failed(directory, e);
      return new ArrayList<>();
    }
    print(entries, directory);
    List<Path> below = new ArrayList<>();
    if (recursive) {
      for (Path entry : entries) {
        if (Files.isDirectory(entry, LinkOption.NOFOLLOW_LINKS)) {
          below.add(entry);
        }
      }
    }
    return below;
  }

  /** Prints the entries of a directory, or files that were named themselves if it is null. */
  private void print(List<Path> entries, Path directory) {
    boolean listed = directory != null;
    Table table =
        new Table("mode", ">replicas", "owner", "group", ">size", ">block", ">blocks", ">locations",
            "modified (UTC)", "name");
    List<String> lines = new ArrayList<>();
    for (Path entry : entries) {
      progress.at(entry);
      try {
        add(entry, listed ? entry.getFileName() : entry, table, lines);
      } catch (Exception e) {
        failed(entry, e);
      }
    }
    progress.clear();
    if (json) {
      lines.forEach(Output.OUT::println);
      return;
    }
    if (listed && (recursive || paths.size() > 1)) {
      Output.OUT.println((began ? System.lineSeparator() : "") + Tree.text(directory) + ":");
      began = true;
    }
    if (table.size() > 0) {
      table.print(Output.OUT);
    }
  }

  private void add(Path entry, Path name, Table table, List<String> lines) {
    String path = entry.toString();
    if (!Tree.askable(entry)) {
      unaskable(entry, name, table, lines);
      return;
    }
    LocatedFileStatus located;
    try {
      Blocks.choose(policy, Blocks.DEFAULT_BLOCK_SIZE);
      byte[] bytes = ZORFNative.getLocatedFileStatusNative(path, false, true, true);
      located = LocatedFileStatus.decode(Library.layout(), bytes, true);
      requireItsBlocks(path, located.status(), bytes);
    } catch (Exception e) {
      // The blocks of a file take the right to read it, the status does not.
      byte[] record = ZORFNative.getFileStatusNative(path, false);
      FileStatus status = Library.layout().decode(record);
      boolean acl =
          status.type() != FileType.SYMBOLIC_LINK
              && AclFormat.decodeReport(ZORFNative.getAclStatus(path, record)).size() > 3;
      row(status, acl, null, name, path, table, lines);
      progress.clear();
      report(
          path,
          e instanceof Failure
              ? e
              : new Failure(path + ": blocks unknown: " + Failure.systemText(e), e));
      result = FAILED;
      return;
    }
    row(located.status(), located.hasAcl(), located.locations().orElse(null), name, path, table,
        lines);
  }

  /** The sorting policy may have counted other blocks than the file has: a failure, as in locate. */
  private void requireItsBlocks(String path, FileStatus status, byte[] located) {
    if (policy == BlockPolicy.RACKAWARE_SORT && status.type() == FileType.REGULAR) {
      byte[] record = Arrays.copyOf(located, Library.layout().recordLength());
      Blocks.range(path, policy, Blocks.DEFAULT_BLOCK_SIZE, 0, status.size(), record)
          .each((block, piece, entry) -> {});
    }
  }

  private void unaskable(Path entry, Path name, Table table, List<String> lines) {
    marked++;
    Json object = new Json().object().put("path", entry.toString());
    object.put("pathHex", AttributeValue.format(Tree.bytes(entry), AttributeValue.Encoding.hex));
    lines.add(object.put("error", Tree.NOT_ASKABLE).end().toString());
    String[] row = new String[10];
    Arrays.fill(row, "?");
    row[9] = Tree.text(name) + " *";
    table.row(row);
  }

  private void row(
      FileStatus status,
      boolean acl,
      BlockLocations blocks,
      Path name,
      String path,
      Table table,
      List<String> lines) {
    byte[] target =
        status.type() == FileType.SYMBOLIC_LINK ? StatusCommand.target(path, status) : null;
    if (json) {
      lines.add(json(status, acl, blocks, target, path).toString());
      return;
    }
    boolean regular = status.type() == FileType.REGULAR;
    String unknown = regular ? "?" : "-";
    Optional<BlockLocations> known = Optional.ofNullable(blocks);
    table.row(
        status.type().symbol() + status.permissionText() + (acl ? "+" : ""),
        known.map(b -> Integer.toString(b.replicaCount())).orElse(unknown),
        Names.user(status.uid()),
        Names.group(status.gid()),
        Sizes.exact(status.size()),
        known.map(b -> Sizes.human(b.blockSize())).orElse(unknown),
        known.map(b -> Sizes.exact(b.blockCount())).orElse(unknown),
        known.map(b -> Sizes.exact(distinct(b))).orElse(unknown),
        StatusCommand.TIME.format(status.modificationTime()).substring(0, 19),
        Output.printable(name.toString()) + StatusCommand.arrow(target));
  }

  private int distinct(BlockLocations blocks) {
    TreeSet<Integer> ids = new TreeSet<>();
    for (int block = 0; block < blocks.blockCount(); block++) {
      for (int replica = 0; replica < blocks.replicaCount(); replica++) {
        ids.add(blocks.id(block, replica));
      }
    }
    if (policy == BlockPolicy.RACKAWARE_SORT) {
      ids.remove(-1);
    }
    return ids.size();
  }

  private Json json(
      FileStatus status, boolean acl, BlockLocations blocks, byte[] target, String path) {
    Json json = new Json().object().put("path", path);
    StatusCommand.putStatus(json, status);
    json.put("acl", acl);
    StatusCommand.putTarget(json, target);
    if (blocks != null) {
      json.put("blockSize", blocks.blockSize())
          .put("replicas", blocks.replicaCount())
          .put("blocks", blocks.blockCount())
          .put("locations", distinct(blocks));
    }
    return json.end();
  }
}
