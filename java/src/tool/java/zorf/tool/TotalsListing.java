package zorf.tool;

import java.io.PrintStream;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Locale;
import java.util.Map;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockPolicy;

/** The placement of several files summed up, as tables or as JSON. */
final class TotalsListing {
  private final PlacementTotals totals;
  private final BlockPolicy policy;

  TotalsListing(PlacementTotals totals, BlockPolicy policy) {
    this.totals = totals;
    this.policy = policy;
  }

  /** Prints tables of at most so many rows each; 0 stands for all. */
  void print(PrintStream out, int rows) {
    out.println(
        Sizes.count(totals.files().size(), "file")
            + ", "
            + Sizes.human(totals.length())
            + (policy == BlockPolicy.SHARED
                ? ""
                : ": "
                    + Sizes.count(totals.blocks(), "block")
                    + ", "
                    + Sizes.exact(totals.underReplicatedBlocks())
                    + " under-replicated")
            + " ("
            + policy.text()
            + ")"
            + (policy == BlockPolicy.SHARED ? ", no locations" : ""));
    print(out, files(), rows, ">blocks", ">of", ">replicas", ">under-replicated", "file");
    print(out, racks(), rows, ">rack", ">locations", ">blocks", ">bytes", ">share");
    boolean racked = !totals.racks().isEmpty();
    print(
        out,
        locations(racked),
        rows,
        racked
            ? new String[] {">location", ">rack", ">blocks", ">bytes", ">share"}
            : new String[] {">location", ">blocks", ">bytes", ">share"});
    print(out, runs(), rows, ">under-replicated", ">offset", ">bytes", "replicas", "file");
  }

  private static void print(PrintStream out, List<String[]> cells, int rows, String... headers) {
    if (cells.isEmpty()) {
      return;
    }
    Table table = new Table(headers);
    Elision shown = new Elision(rows, cells.size());
    for (int i = 0; i < cells.size(); i++) {
      if (shown.shows(i)) {
        table.row(cells.get(i));
      } else if (shown.elidesFrom(i)) {
        String[] left = new String[headers.length];
        Arrays.fill(left, "");
        left[0] = "...";
        table.row(left);
      }
    }
    out.println();
    table.print(out);
  }

  private List<String[]> files() {
    List<String[]> rows = new ArrayList<>();
    for (PlacementTotals.FileTotal file : totals.files()) {
      BlockRange range = file.range;
      boolean shared = policy == BlockPolicy.SHARED;
      rows.add(
          new String[] {
            shared ? "-" : Sizes.exact(range.count()),
            range.blockSize() == 0 ? "-" : Sizes.human(range.blockSize()),
            replicas(range),
            shared ? "-" : Sizes.exact(file.underReplicated),
            Output.printable(range.path())
          });
    }
    return rows;
  }

  private static String replicas(BlockRange range) {
    return (range.replicas() == range.wantedReplicas() ? "" : range.replicas() + " of ")
        + range.wantedReplicas();
  }

  private List<String[]> racks() {
    List<String[]> rows = new ArrayList<>();
    totals.racks().forEach((rack, held) -> rows.add(
        new String[] {
          rackText(rack),
          Sizes.exact(held.locations),
          Sizes.exact(held.blocks),
          Sizes.human(held.bytes),
          share(held)
        }));
    return rows;
  }

  private List<String[]> locations(boolean racked) {
    List<String[]> rows = new ArrayList<>();
    totals.locations().forEach((location, held) -> {
      List<String> cells = new ArrayList<>();
      cells.add(String.valueOf(location));
      if (racked) {
        cells.add(rackText(totals.rackOf(location)));
      }
      cells.add(Sizes.exact(held.blocks));
      cells.add(Sizes.human(held.bytes));
      cells.add(share(held));
      rows.add(cells.toArray(new String[0]));
    });
    return rows;
  }

  private static String rackText(int rack) {
    return rack == Placement.NO_RACK ? "none" : String.valueOf(rack);
  }

  private String share(PlacementTotals.Held held) {
    return String.format(Locale.ROOT, "%.1f%%", 100 * totals.share(held));
  }

  private List<String[]> runs() {
    List<String[]> rows = new ArrayList<>();
    for (PlacementTotals.Run run : totals.underReplicated()) {
      long first = run.firstNumber();
      rows.add(
          new String[] {
            run.blocks == 1
                ? "block " + Sizes.exact(first)
                : "blocks " + Sizes.exact(first) + " to " + Sizes.exact(first + run.blocks - 1),
            Sizes.offset(run.offset()),
            Sizes.human(run.bytes()),
            run.locations + " of " + run.range.wantedReplicas(),
            Output.printable(run.range.path())
          });
    }
    return rows;
  }

  /** The same as an object. */
  String json() {
    Json json = new Json().object();
    json.put("policy", policy.text());
    json.key("files").array();
    for (PlacementTotals.FileTotal file : totals.files()) {
      BlockRange range = file.range;
      json.object()
          .put("path", range.path())
          .put("size", range.fileSize())
          .put("offset", range.offset())
          .put("length", range.length())
          .put("blockSize", range.blockSize())
          .put("blocks", range.count())
          .put("replicas", range.replicas())
          .put("wantedReplicas", range.wantedReplicas())
          .put("underReplicated", file.underReplicated)
          .end();
    }
    json.end().key("racks").array();
    for (Map.Entry<Integer, PlacementTotals.Held> rack : totals.racks().entrySet()) {
      rack(json.object(), rack.getKey()).put("locations", rack.getValue().locations);
      held(json, rack.getValue()).end();
    }
    json.end().key("locations").array();
    for (Map.Entry<Integer, PlacementTotals.Held> location : totals.locations().entrySet()) {
      json.object().put("location", location.getKey());
      held(rack(json, totals.rackOf(location.getKey())), location.getValue()).end();
    }
    json.end().key("underReplicated").array();
    for (PlacementTotals.Run run : totals.underReplicated()) {
      json.object()
          .put("path", run.range.path())
          .put("offset", run.offset())
          .put("length", run.bytes())
          .put("blocks", run.blocks)
          .put("locations", run.locations)
          .put("wantedReplicas", run.range.wantedReplicas())
          .end();
    }
    return json.end().end().toString();
  }

  private static Json rack(Json json, int rack) {
    return rack == Placement.NO_RACK ? json.put("rack", (String) null) : json.put("rack", rack);
  }

  private static Json held(Json json, PlacementTotals.Held held) {
    return json.put("blocks", held.blocks).put("bytes", held.bytes);
  }
}
