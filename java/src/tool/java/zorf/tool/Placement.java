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
 * How much of each column of blocks each location holds. A column is one block while there are few,
 * else as many neighbours as it takes to keep to a number of columns.
 */
final class Placement {
  /** Locations that the topology does not name. */
  static final int NO_RACK = -1;
  /** Where a block has fewer replicas than it might. */
  static final int NO_LOCATION = -1;

  private final BlockLocations locations;
  private final boolean weighted;
  private final long wholeBlock;
  private final int blocksPerColumn;
  private final int columns;
  private final Map<Integer, List<Integer>> racks = new LinkedHashMap<>();
  private final Map<Integer, long[]> held = new HashMap<>();
  private final long[] capacity;
  private final double largestShare;

  /**
   * Counts what the locations hold.
   *
   * @param fileSystemBlock the size of the file system blocks that the sorting policy counts
   * @param maxColumns how many columns there may be
   */
  Placement(
      BlockLocations locations,
      BlockPolicy policy,
      long fileSystemBlock,
      Topology topology,
      int maxColumns) {
    this.locations = locations;
    weighted = policy == BlockPolicy.RACKAWARE_SORT;
    wholeBlock = weighted ? Math.max(1, locations.blockSize() / Math.max(1, fileSystemBlock)) : 1;
    int blocks = locations.blockCount();
    blocksPerColumn = Math.max(1, (blocks + maxColumns - 1) / maxColumns);
    columns = (blocks + blocksPerColumn - 1) / blocksPerColumn;
    capacity = new long[columns];
    count();
    group(topology);
    largestShare = largestShareOf();
  }

  private void count() {
    for (int block = 0; block < locations.blockCount(); block++) {
      int column = block / blocksPerColumn;
      for (int replica = 0; replica < locations.replicaCount(); replica++) {
        int id = locations.id(block, replica);
        // What the sorting policy has no location for.
        if (id == -1 && weighted) {
          continue;
        }
        long weight = weighted ? locations.secondWord(block, replica) : 1;
        held.computeIfAbsent(id, location -> new long[columns])[column] += weight;
      }
      capacity[column] += wholeBlock;
    }
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

  /** The locations of each rack; {@link #NO_RACK} stands last. */
  Map<Integer, List<Integer>> racks() {
    return Collections.unmodifiableMap(racks);
  }

  int columns() {
    return columns;
  }

  /** Whether a location can only hold all of a column or nothing. */
  boolean allOrNothing() {
    return blocksPerColumn == 1 && !weighted;
  }

  int blocksPerColumn() {
    return blocksPerColumn;
  }

  /** From 0, nothing of the column's blocks, to 1, (a replica of) all of them. */
  double share(int location, int column) {
    long[] counts = held.get(location);
    return counts == null ? 0 : Math.min(1, (double) counts[column] / capacity[column]);
  }

  /** The largest {@link #share}: of a column of many blocks each location holds only a little. */
  double largestShare() {
    return largestShare;
  }

  private double largestShareOf() {
    double largest = 0;
    for (int location : held.keySet()) {
      for (int column = 0; column < columns; column++) {
        largest = Math.max(largest, share(location, column));
      }
    }
    return largest;
  }

  /** How dark a column of a location is, from 0 (nothing) to a number of steps (the most). */
  int shade(int location, int column, int steps) {
    double share = share(location, column);
    return share == 0 ? 0 : (int) Math.ceil(share / largestShare * steps);
  }

  /** The largest share of a shade, such as "4.6%". */
  String shadeText(int shade, int steps) {
    double percent = 100 * largestShare * shade / steps;
    return String.format(Locale.ROOT, percent < 10 ? "%.1f%%" : "%.0f%%", percent);
  }

  /** How many replicas a location holds; with the sorting policy, of file system blocks. */
  long total(int location) {
    long total = 0;
    for (long count : held.getOrDefault(location, new long[0])) {
      total += count;
    }
    return total;
  }

  /** The largest {@link #total}. */
  long largestTotal() {
    return held.keySet().stream().mapToLong(this::total).max().orElse(0);
  }
}
