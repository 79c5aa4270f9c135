package zorf.demo;

import java.io.PrintStream;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Locale;
import java.util.Map;
import java.util.TreeMap;
import java.util.stream.Collectors;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockLocations;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockPolicy;
import zorf.common.Sizes;
import zorf.common.Table;

/** Shows the block locations of a whole file: the ends of the list, and how even it is. */
final class BlockMap {
  private static final int SHOWN_AT_START = 4;
  private static final int SHOWN_AT_END = 2;
  private static final int HISTOGRAM_COLUMNS = 2;
  private static final int HISTOGRAM_ROWS = 16;
  private static final int BAR_WIDTH = 24;

  private final BlockPolicy policy;
  private final BlockLocations locations;
  private final double milliseconds;

  BlockMap(BlockPolicy policy, BlockLocations locations, double milliseconds) {
    this.policy = policy;
    this.locations = locations;
    this.milliseconds = milliseconds;
  }

  void print(PrintStream out, String bar) {
    out.println(summary());
    if (locations.blockCount() > 0 && locations.replicaCount() > 0) {
      out.println();
      entries().print(out, "  ");
      out.println();
      printHistogram(out, bar);
    }
  }

  private String summary() {
    String size = Sizes.human(locations.blockSize());
    String replicas = Sizes.count(locations.replicaCount(), "replica");
    String answer =
        policy == BlockPolicy.SHARED
            ? "blocks of " + size + ", " + replicas + ", no locations"
            : Sizes.count(locations.blockCount(), "block") + " of " + size + ", " + replicas;
    return String.format(
        Locale.ROOT, "\"%s\": %s (in %.1f ms)", policy.text(), answer, milliseconds);
  }

  private Table entries() {
    String second =
        policy == BlockPolicy.RACKAWARE_SORT ? "file system blocks there" : "second words";
    Table table = new Table(">block", ">offset", "locations", second);
    int count = locations.blockCount();
    for (int i = 0; i < count; i++) {
      if (i < SHOWN_AT_START || i >= count - SHOWN_AT_END) {
        table.row(
            Sizes.exact(i),
            Sizes.offset(i * locations.blockSize()),
            words(locations.ids(i)),
            words(locations.secondWords(i)));
      } else if (i == SHOWN_AT_START) {
        table.row("...", "...", "...", "...");
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

  /** How many entries name each location, in the order of the identifiers. */
  private Map<Integer, Integer> entriesPerLocation() {
    Map<Integer, Integer> counts = new TreeMap<>();
    for (int block = 0; block < locations.blockCount(); block++) {
      for (int replica = 0; replica < locations.replicaCount(); replica++) {
        int id = locations.id(block, replica);
        if (id != -1 || policy != BlockPolicy.RACKAWARE_SORT) {
          counts.merge(id, 1, Integer::sum);
        }
      }
    }
    return counts;
  }

  private void printHistogram(PrintStream out, String bar) {
    Map<Integer, Integer> counts = entriesPerLocation();
    List<Integer> ids = new ArrayList<>(counts.keySet());
    int most = counts.values().stream().mapToInt(Integer::intValue).max().orElse(1);
    int shown = Math.min(ids.size(), HISTOGRAM_COLUMNS * HISTOGRAM_ROWS);
    int rows = (shown + HISTOGRAM_COLUMNS - 1) / HISTOGRAM_COLUMNS;
    String[] headers = new String[3 * HISTOGRAM_COLUMNS];
    for (int i = 0; i < headers.length; i += 3) {
      headers[i] = ">location";
      headers[i + 1] = ">entries";
      headers[i + 2] = Table.repeat(" ", i + 3 < headers.length ? BAR_WIDTH : 0);
    }
    Table table = new Table(headers);
    for (int row = 0; row < rows; row++) {
      String[] cells = new String[headers.length];
      Arrays.fill(cells, "");
      for (int column = 0; column < HISTOGRAM_COLUMNS; column++) {
        int index = column * rows + row;
        if (index < shown) {
          int count = counts.get(ids.get(index));
          cells[3 * column] = ids.get(index).toString();
          cells[3 * column + 1] = Sizes.exact(count);
          cells[3 * column + 2] = Table.repeat(bar, Math.round((float) count / most * BAR_WIDTH));
        }
      }
      table.row(cells);
    }
    table.print(out, "  ");
    if (shown < ids.size()) {
      out.println("  and " + (ids.size() - shown) + " locations more");
    }
  }
}
