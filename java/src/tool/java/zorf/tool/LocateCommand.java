package zorf.tool;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.util.List;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockPolicy;
import picocli.CommandLine.Command;
import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;

@Command(
    name = "locate",
    description = {
      "Shows which locations hold the blocks of a file, as a table, a map, JSON or a picture; of"
          + " several files what racks and locations hold, and which blocks have too few replicas.",
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
      "  zorfhadoop locate --json /zorf/data/events.dat | jq '.blocks[0].locations'",
      "  zorfhadoop locate --topology /etc/zorf/racks /zorf/data/*.dat"
    })
final class LocateCommand extends FileCommand {
  private static final Path STANDARD_OUTPUT = Paths.get("-");

  @Parameters(paramLabel = "PATH", arity = "1..*", description = "Files; of several the sum.")
  private List<String> paths;

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
      description = "How many rows each table shows, 0 for all (default: ${DEFAULT-VALUE}).")
  private int rows;

  @Option(
      names = "--summary",
      description =
          "Sum up what racks and locations hold and which blocks have too few replicas, instead of"
              + " listing blocks; always so for several files.")
  private boolean summary;

  @Option(names = "--map", description = "Draw a map of blocks by locations instead of the table.")
  private boolean map;

  @Option(
      names = "--color",
      paramLabel = "WHEN",
      defaultValue = "auto",
      description = "Colour the map: ${COMPLETION-CANDIDATES} (default: ${DEFAULT-VALUE}).")
  private Output.Color color;

  @Option(
      names = "--svg",
      paramLabel = "FILE",
      description =
          "Also write a picture, blocks by locations, to FILE; with \"-\" to standard output and"
              + " nothing else there.")
  private Path svg;

  @Option(
      names = "--topology",
      paramLabel = "FILE",
      description =
          "Group the locations of summary, map and picture by the racks that FILE names, on lines"
              + " such as \"rack 1: 100 101\" (default: the file that $ZORF_TOPOLOGY names).")
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
    boolean drawn = map || svg != null;
    summary |= paths.size() > 1;
    if (map && json) {
      throw misuse("--map and --json exclude each other");
    }
    if (drawn && summary) {
      throw misuse((map ? "--map" : "--svg") + " draws one PATH, without --summary");
    }
    if (STANDARD_OUTPUT.equals(svg) && (map || json)) {
      throw misuse("--svg - leaves no place for " + (map ? "--map" : "--json"));
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
    if (topologyFile != null && (drawn || summary)) {
      try {
        topology = Topology.read(topologyFile);
      } catch (IOException e) {
        throw new Failure("can't read " + topologyFile + ": " + Failure.reason(e), e);
      }
    }
  }

  @Override
  int runAsUser() throws IOException {
    if (!summary) {
      return each(paths, path -> show(range(path)));
    }
    boolean placed = policy != BlockPolicy.SHARED;
    PlacementTotals totals = new PlacementTotals(placed ? topology : Topology.unknown());
    int status = each(paths, path -> totals.add(range(path)));
    if (!totals.files().isEmpty()) {
      TotalsListing listing = new TotalsListing(totals, policy);
      if (json) {
        Output.OUT.println(listing.json());
      } else {
        listing.print(Output.OUT, rows);
      }
    }
    return status;
  }

  /** The part of the file that was asked for. */
  private BlockRange range(String path) throws IOException {
    byte[] record = Blocks.regular(path);
    long size = Library.layout().decode(record).size();
    if (offset > size) {
      throw new Failure(path + ": the offset is beyond the end of " + Sizes.count(size, "byte"));
    }
    long rest = size - offset;
    long zorfBlockSize = asOnZorf ? Blocks.fileSystemBlockSize(path) : 0;
    byte[] asked = zorfBlockSize > 0 ? RawStatus.withBlockSize(record, zorfBlockSize) : record;
    return Blocks.range(
        path,
        policy,
        defaultBlockSize,
        offset,
        length == null ? rest : Math.min(length, rest),
        asked);
  }

  private void show(BlockRange range) {
    if (svg != null) {
      draw(new PlacementSvg(range, topology).render());
      if (STANDARD_OUTPUT.equals(svg)) {
        return;
      }
    }
    if (json) {
      new BlockListing(range).printJson(Output.OUT);
    } else if (!range.hasLocations()) {
      Output.OUT.println(title(range));
    } else if (map) {
      PlacementMap drawn =
          new PlacementMap(
              range, topology, Output.width(), Output.colored(color), Output.unicode());
      // Only on a terminal is there an edge that the title must not cross.
      Output.OUT.println(drawn.title(Output.outIsTerminal()));
      Output.OUT.println();
      Output.OUT.print(drawn.render());
    } else {
      Table table = new BlockListing(range).table(rows);
      Output.OUT.println(title(range));
      Output.OUT.println();
      table.print(Output.OUT);
    }
  }

  private void draw(String picture) {
    if (STANDARD_OUTPUT.equals(svg)) {
      Output.OUT.print(picture);
      return;
    }
    try {
      Files.write(svg, picture.getBytes(StandardCharsets.UTF_8));
    } catch (IOException e) {
      throw new Failure("can't write " + svg + ": " + Failure.reason(e), e);
    }
  }

  private static String title(BlockRange range) {
    return Output.printable(range.path())
        + ": "
        + range.asked()
        + ", "
        + range.what()
        + (range.policy() == BlockPolicy.SHARED ? ", no locations" : "");
  }
}
