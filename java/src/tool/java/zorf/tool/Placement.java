package zorf.tool;

import java.util.ArrayList;
import java.util.Collections;
import java.util.HashMap;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Locale;
import java.util.Map;
import java.util.SortedSet;
import java.util.TreeSet;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockLocations;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockPolicy;

/**
 * How much of each column of blocks each row of locations holds. A column is one block while there
 * are few, else as many neighbours as it takes to keep to a number of columns; so it is with rows.
 */
final class Placement {
  /** Locations that the topology does not name. */
  static final int NO_RACK = -1;
  /** Where a block has fewer replicas than it might. */
  static final int NO_LOCATION = -1;

  private final boolean weighted;
  private final long wholeBlock;
  private final long blocksPerColumn;
  private final int columns;
  private final Map<Integer, List<Integer>> racks = new LinkedHashMap<>();
  private final List<PlacementRows.Group> groups;
  private final boolean shared;
  private final Map<Integer, long[]> held = new HashMap<>();
  private final long[] capacity;
  private final double largestShare;
  private final long largestTotal;

  /** Counts what the locations hold of a range, in at most so many columns and rows. */
  Placement(BlockRange range, Topology topology, int maxColumns, int maxRows) {
    weighted = range.policy() == BlockPolicy.RACKAWARE_SORT;
    wholeBlock = weighted ? range.unitsInBlock() : 1;
    long blocks = range.count();
    blocksPerColumn = Math.max(1, (blocks - 1) / maxColumns + 1);
    columns = (int) ((blocks + blocksPerColumn - 1) / blocksPerColumn);
    capacity = new long[columns];
    range.each(this::count);
    group(topology);
    groups = PlacementRows.group(racks, maxRows);
    shared = groups.stream().flatMap(group -> group.rows.stream())
        .anyMatch(row -> row.locations.size() > 1);
    largestShare = largestShareOf();
    largestTotal =
        groups.stream().flatMap(group -> group.rows.stream()).mapToLong(this::total).max()
            .orElse(0);
  }

  private void count(long block, BlockLocations piece, int entry) {
    int column = (int) (block / blocksPerColumn);
    for (int replica = 0; replica < piece.replicaCount(); replica++) {
      int id = piece.id(entry, replica);
      if (id == NO_LOCATION) {
        continue;
      }
      long weight = weighted ? piece.secondWord(entry, replica) : 1;
      held.computeIfAbsent(id, location -> new long[columns])[column] += weight;
    }
    capacity[column] += wholeBlock;
  }

  private void group(Topology topology) {
    SortedSet<Integer> rest = new TreeSet<>(held.keySet());
    topology.racks().forEach((rack, members) -> {
      racks.put(rack, members);
      rest.removeAll(members);
    });
    if (!rest.isEmpty()) {
      racks.put(NO_RACK, new ArrayList<>(rest));
    }
  }

  /** The rows; those without a rack stand last. */
  List<PlacementRows.Group> groups() {
    return Collections.unmodifiableList(groups);
  }

  int columns() {
    return columns;
  }

  /** Whether a row can only hold all of a column or nothing. */
  boolean allOrNothing() {
    return blocksPerColumn == 1 && !weighted && !shared;
  }

  /** Whether there are rows of several locations. */
  boolean sharedRows() {
    return shared;
  }

  long blocksPerColumn() {
    return blocksPerColumn;
  }

  /**
   * From 0, nothing of the column's blocks, to 1, (a replica of) all of them. Of a row of several
   * locations it is what one of them holds on average.
   */
  double share(PlacementRows.Row row, int column) {
    long counted = 0;
    for (int location : row.locations) {
      long[] counts = held.get(location);
      counted += counts == null ? 0 : counts[column];
    }
    return Math.min(1, (double) counted / capacity[column] / row.locations.size());
  }

  private double largestShareOf() {
    double largest = 0;
    for (PlacementRows.Group group : groups) {
      for (PlacementRows.Row row : group.rows) {
        for (int column = 0; column < columns; column++) {
          largest = Math.max(largest, share(row, column));
        }
      }
    }
    return largest;
  }

  /** How dark a column of a row is, from 0 (nothing) to a number of steps (the most). */
  int shade(PlacementRows.Row row, int column, int steps) {
    double share = share(row, column);
    return share == 0 ? 0 : (int) Math.ceil(share / largestShare * steps);
  }

  /** The largest share of a shade, such as "4.6%". */
  String shadeText(int shade, int steps) {
    double percent = 100 * largestShare * shade / steps;
    String digits = percent < 1 ? "%.2f%%" : percent < 10 ? "%.1f%%" : "%.0f%%";
    return String.format(Locale.ROOT, digits, percent);
  }

  /** How many replicas a row holds; with the sorting policy, of file system blocks. */
  long total(PlacementRows.Row row) {
    long total = 0;
    for (int location : row.locations) {
      for (long count : held.getOrDefault(location, new long[0])) {
        total += count;
      }
    }
    return total;
  }

  /** The largest {@link #total}. */
  long largestTotal() {
    return largestTotal;
  }
}
