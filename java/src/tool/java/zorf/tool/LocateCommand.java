package zorf.tool;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.util.Arrays;
import java.util.stream.Collectors;
import org.apache.hadoop.hdfs.server.namenode.ZORFNative;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockLocations;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockPolicy;
import org.apache.hadoop.hdfs.server.namenode.zorf.FileStatus;
import picocli.CommandLine.Command;
import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;
import zorf.common.Sizes;
import zorf.common.Table;

@Command(
    name = "locate",
    description = {
      "Shows which locations hold the blocks of a file, as a table, a map, JSON or a picture.",
      "The policy decides what a NameNode would be told: \"local\" the file system's own blocks,"
          + " \"shared\" only block size and replica count, \"rackaware\" HDFS blocks as the file"
          + " system places them, \"rackaware-sort\" HDFS blocks with the locations that hold most"
          + " of each and how many file system blocks they hold."
    },
    footer = {
      "  zorfhadoop locate /zorf/data/events.dat",
      "  zorfhadoop locate --policy local --offset 1G --length 256M /zorf/data/events.dat",
      "  zorfhadoop locate --map --topology /etc/zorf/racks /zorf/data/events.dat",
      "  zorfhadoop locate --svg events.svg --topology /etc/zorf/racks /zorf/data/events.dat",
      "  zorfhadoop locate --json /zorf/data/events.dat | jq '.blocks[0].locations'"
    })
final class LocateCommand extends FileCommand {
  private static final int SVG_COLUMNS = 200;

  @Parameters(paramLabel = "PATH", description = "The file.")
  private String path;

  @Option(
      names = {"-p", "--policy"},
      paramLabel = "POLICY",
      defaultValue = "rackaware",
      completionCandidates = Policies.class,
      converter = Policies.class,
      description = "local, shared, rackaware or rackaware-sort (default: ${DEFAULT-VALUE}).")
  private BlockPolicy policy;

  @Option(
      names = "--offset",
      paramLabel = "BYTES",
      defaultValue = "0",
      converter = SizeConverter.class,
      description = "Where the range starts; K, M, G and T may follow (default: 0).")
  private long offset;

  @Option(
      names = "--length",
      paramLabel = "BYTES",
      converter = SizeConverter.class,
      description = "How long the range is (default: to the end of the file).")
  private Long length;

  @Option(
      names = "--default-block-size",
      paramLabel = "BYTES",
      defaultValue = "128M",
      converter = SizeConverter.class,
      description =
          "The HDFS block size of a file without a block group factor (default: ${DEFAULT-VALUE}).")
  private long defaultBlockSize;

  @Option(
      names = "--rows",
      paramLabel = "COUNT",
      defaultValue = "20",
      description = "How many blocks the table shows, 0 for all (default: ${DEFAULT-VALUE}).")
  private int rows;

  @Option(names = "--map", description = "Draw a map of blocks by locations instead of the table.")
  private boolean map;

  @Option(
      names = "--color",
      paramLabel = "WHEN",
      defaultValue = "auto",
      description = "Colour the map: ${COMPLETION-CANDIDATES} (default: ${DEFAULT-VALUE}).")
  private Output.Color color;

  @Option(names = "--json", description = "Print a JSON object instead of the table.")
  private boolean json;

  @Option(
      names = "--svg",
      paramLabel = "FILE",
      description = "Also write a picture, blocks by locations, to FILE.")
  private Path svg;

  @Option(
      names = "--topology",
      paramLabel = "FILE",
      description =
          "Group the locations of map and picture by the racks that FILE names, on lines such as"
              + " \"rack 1: 100 101\" (default: the file that $ZORF_TOPOLOGY names).")
  private Path topologyFile;

  @Option(
      names = "--as-on-zorf",
      description =
          "Count by the file system's own block size even if the status of the file gives another."
              + " For trying the stand-in client library on files that don't lie on zorf; on zorf"
              + " it changes nothing.")
  private boolean asOnZorf;

  private Topology topology = Topology.unknown();

  @Override
  void prepare() throws IOException {
    if (map && json) {
      throw misuse("--map and --json exclude each other");
    }
    if (rows < 0) {
      throw misuse("--rows takes 0 or more");
    }
    if (defaultBlockSize == 0) {
      throw misuse("--default-block-size takes 1 or more");
    }
    String named = System.getenv("ZORF_TOPOLOGY");
    if (topologyFile == null && named != null && !named.isEmpty()) {
      topologyFile = Paths.get(named);
    }
    if (topologyFile != null && (map || svg != null)) {
      try {
        topology = Topology.read(topologyFile);
      } catch (IOException e) {
        throw new Failure("can't read " + topologyFile + ": " + Failure.reason(e), e);
      }
    }
  }

  @Override
  int runAsUser() throws IOException {
    return each(Arrays.asList(path), this::locate);
  }

  private void locate(String path) throws IOException {
    byte[] record = ZORFNative.getFileStatusNative(path, true);
    FileStatus status = Library.layout().decode(record);
    Blocks.requireRegular(path, record);
    if (length == null) {
      length = Math.max(0, status.size() - offset);
    }
    if (offset > status.size()) {
      throw new Failure(
          path + ": the offset is beyond the end of " + Sizes.count(status.size(), "byte"));
    }
    long zorfBlockSize = asOnZorf ? Blocks.fileSystemBlockSize(path) : 0;
    byte[] asked = zorfBlockSize > 0 ? RawStatus.withBlockSize(record, zorfBlockSize) : record;
    Blocks.choose(policy, defaultBlockSize);
    BlockLocations locations = Blocks.locate(path, offset, length, asked);
    long blockSize = RawStatus.blockSize(asked);
    if (svg != null) {
      Placement placement =
          new Placement(locations, policy, blockSize, topology, SVG_COLUMNS);
      String picture = new PlacementSvg(placement, locations, policy, name(path)).render();
      try {
        Files.write(svg, picture.getBytes(StandardCharsets.UTF_8));
      } catch (IOException e) {
        throw new Failure("can't write " + svg + ": " + Failure.reason(e), e);
      }
    }
    if (json) {
      Output.OUT.println(json(path, status, locations));
      return;
    }
    Output.OUT.println(summary(path, status, locations));
    if (locations.blockCount() > 0 && locations.replicaCount() > 0) {
      Output.OUT.println();
      if (map) {
        int columns = PlacementMap.columnsIn(Output.width());
        Placement placement = new Placement(locations, policy, blockSize, topology, columns);
        Output.OUT.print(
            new PlacementMap(placement, Output.colored(color), Output.unicode()).render());
      } else {
        table(locations).print(Output.OUT);
      }
    }
  }

  private static String name(String path) {
    Path name = Paths.get(path).getFileName();
    return name == null ? path : name.toString();
  }

  private String summary(String path, FileStatus status, BlockLocations locations) {
    String range = Sizes.human(status.size());
    if (offset != 0) {
      range = Sizes.human(locations.length()) + " at " + Sizes.offset(offset) + " of " + range;
    } else if (locations.length() != status.size()) {
      range = "the first " + Sizes.human(locations.length()) + " of " + range;
    }
    String blocks =
        policy == BlockPolicy.SHARED
            ? "blocks of " + Sizes.human(locations.blockSize())
            : Sizes.count(locations.blockCount(), "block")
                + " of "
                + Sizes.human(locations.blockSize());
    return Output.printable(path)
        + ": "
        + range
        + ", "
        + blocks
        + ", "
        + Sizes.count(locations.replicaCount(), "replica")
        + " ("
        + policy.text()
        + ")"
        + (policy == BlockPolicy.SHARED ? ", no locations" : "");
  }

  /** The offset of the first block: the range is widened to whole blocks. */
  private static long start(BlockLocations locations) {
    long size = locations.blockSize();
    return size == 0 ? locations.offset() : locations.offset() - locations.offset() % size;
  }

  private Table table(BlockLocations locations) {
    boolean sorted = policy == BlockPolicy.RACKAWARE_SORT;
    Table table =
        sorted
            ? new Table(">block", ">offset", "locations", "file system blocks there")
            : new Table(">block", ">offset", "locations");
    int count = locations.blockCount();
    int atEnd = rows == 0 ? 0 : Math.min(4, rows / 3);
    int atStart = rows == 0 ? count : rows - atEnd;
    long first = locations.blockSize() == 0 ? 0 : start(locations) / locations.blockSize();
    for (int i = 0; i < count; i++) {
      if (i < atStart || i >= count - atEnd) {
        String number = Sizes.exact(first + i);
        String from = Sizes.offset(start(locations) + i * locations.blockSize());
        String ids = words(locations.ids(i));
        if (sorted) {
          table.row(number, from, ids, words(locations.secondWords(i)));
        } else {
          table.row(number, from, ids);
        }
      } else if (i == atStart) {
        table.row(sorted ? new String[] {"...", "", "", ""} : new String[] {"...", "", ""});
      }
    }
    return table;
  }

  private static String words(int[] words) {
    return Arrays.stream(words)
        .mapToObj(word -> word == -1 ? "-" : String.valueOf(word))
        .map(word -> Table.repeat(" ", 4 - word.length()) + word)
        .collect(Collectors.joining(" "));
  }

  private Json json(String path, FileStatus status, BlockLocations locations) {
    Json json = new Json().object();
    json.put("path", path)
        .put("size", status.size())
        .put("policy", policy.text())
        .put("offset", locations.offset())
        .put("length", locations.length())
        .put("blockSize", locations.blockSize())
        .put("replicas", locations.replicaCount());
    json.key("blocks").array();
    for (int i = 0; i < locations.blockCount() && locations.replicaCount() > 0; i++) {
      json.object()
          .put("offset", start(locations) + i * locations.blockSize())
          .put("locations", locations.ids(i));
      // Under the other policies the second words are the file system's own affair.
      if (policy == BlockPolicy.RACKAWARE_SORT) {
        json.put("fileSystemBlocks", locations.secondWords(i));
      }
      json.end();
    }
    return json.end().end();
  }
}
