package zorf.tool;

import java.io.IOException;
import java.nio.file.DirectoryIteratorException;
import java.nio.file.DirectoryStream;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.util.ArrayDeque;
import java.util.ArrayList;
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
import zorf.common.Sizes;
import zorf.common.Table;

@Command(
    name = "ls",
    description = {
      "Lists directories with the located status of each entry: what \"ls -l\" shows, a \"+\" for"
          + " an ACL, and for regular files the replica count, the HDFS block size, the number of"
          + " blocks and of the locations that hold them."
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

  @Option(names = "--json", description = "Print one JSON object per line and entry.")
  private boolean json;

  private final Progress progress = new Progress();
  private int result = OK;
  private boolean began;

  @Override
  int runAsUser() throws IOException {
    Blocks.choose(policy, Blocks.DEFAULT_BLOCK_SIZE);
    List<Path> files = new ArrayList<>();
    List<Path> directories = new ArrayList<>();
    for (String path : paths) {
      Path start = Paths.get(path);
      (Files.isDirectory(start) ? directories : files).add(start);
    }
    if (!files.isEmpty()) {
      print(files, null);
      began = true;
    }
    for (Path directory : directories) {
      walk(directory);
    }
    progress.clear();
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
    report(path.toString(), e);
    result = FAILED;
  }

  /** Prints a directory; the result are the directories in it if they shall be listed too. */
  private List<Path> list(Path directory) {
    List<Path> entries = new ArrayList<>();
    try (DirectoryStream<Path> stream = Files.newDirectoryStream(directory)) {
      stream.forEach(entries::add);
    } catch (DirectoryIteratorException e) {
      failed(directory, e.getCause());
    } catch (IOException e) {
      failed(directory, new Failure(directory + ": can't be listed: " + Failure.reason(e), e));
      return new ArrayList<>();
    }
    Collections.sort(entries);
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
      Output.OUT.println((began ? System.lineSeparator() : "") + Output.printable(directory + ":"));
      began = true;
    }
    if (table.size() > 0) {
      table.print(Output.OUT);
    }
  }

  private void add(Path entry, Path name, Table table, List<String> lines) {
    String path = entry.toString();
    LocatedFileStatus located;
    try {
      byte[] bytes = ZORFNative.getLocatedFileStatusNative(path, false, true, true);
      located = LocatedFileStatus.decode(Library.layout(), bytes, true);
    } catch (Exception e) {
      // The blocks of a file take the right to read it, the status does not.
      byte[] record = ZORFNative.getFileStatusNative(path, false);
      FileStatus status = Library.layout().decode(record);
      boolean acl =
          status.type() != FileType.SYMBOLIC_LINK
              && AclFormat.decodeReport(ZORFNative.getAclStatus(path, record)).size() > 3;
      row(status, acl, null, name, path, table, lines);
      failed(entry, new Failure(path + ": blocks unknown: " + Failure.systemText(e), e));
      return;
    }
    row(located.status(), located.hasAcl(), located.locations().orElse(null), name, path, table,
        lines);
  }

  private void row(
      FileStatus status,
      boolean acl,
      BlockLocations blocks,
      Path name,
      String path,
      Table table,
      List<String> lines) {
    String target =
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
        Output.printable(name + (target == null ? "" : " -> " + target)));
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
      FileStatus status, boolean acl, BlockLocations blocks, String target, String path) {
    Json json = new Json().object().put("path", path);
    StatusCommand.putStatus(json, status);
    json.put("acl", acl);
    if (target != null) {
      json.put("target", target);
    }
    if (blocks != null) {
      json.put("blockSize", blocks.blockSize())
          .put("replicas", blocks.replicaCount())
          .put("blocks", blocks.blockCount())
          .put("locations", distinct(blocks));
    }
    return json.end();
  }
}
