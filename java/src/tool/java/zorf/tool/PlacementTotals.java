package zorf.tool;

import java.util.ArrayList;
import java.util.Collections;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.SortedMap;
import java.util.TreeMap;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockLocations;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockPolicy;

/**
 * What locations and racks hold of the blocks of several files, and which blocks have replicas on
 * fewer locations than their file is to have.
 */
final class PlacementTotals {
  private final Topology topology;
  private final SortedMap<Integer, Held> locations = new TreeMap<>();
  private final SortedMap<Integer, Held> racks = new TreeMap<>();
  private final List<FileTotal> files = new ArrayList<>();
  private final List<Run> runs = new ArrayList<>();

  /** What one location or rack holds. */
  static final class Held {
    /** The blocks of which it has a replica, or some of one. */
    long blocks;
    /** The bytes of all replicas there. */
    long bytes;
    /** How many locations it stands for. */
    int locations;
  }

  /** What one file has. */
  static final class FileTotal {
    final BlockRange range;
    long underReplicated;

    private FileTotal(BlockRange range) {
      this.range = range;
    }
  }

  /** Neighbouring blocks of a file whose replicas lie on so many locations, which are too few. */
  static final class Run {
    final BlockRange range;
    final long firstBlock;
    final int locations;
    long blocks;

    private Run(BlockRange range, long firstBlock, int locations) {
      this.range = range;
      this.firstBlock = firstBlock;
      this.locations = locations;
    }

    /** The first block's number in the file. */
    long firstNumber() {
      return range.firstNumber() + firstBlock;
    }

    long offset() {
      return range.offset(firstBlock);
    }

    /** How much of the file lies in the blocks. */
    long bytes() {
      long last = firstBlock + blocks - 1;
      return range.offset(last) + range.bytes(last) - offset();
    }
  }

  PlacementTotals(Topology topology) {
    this.topology = topology;
  }

  /** Adds the blocks of a range. If that fails, what it was told so far is forgotten. */
  void add(BlockRange range) {
    PlacementTotals added = new PlacementTotals(topology);
    FileTotal file = new FileTotal(range);
    range.each((block, piece, entry) -> added.add(file, block, piece, entry));
    range.replicas();
    files.add(file);
    runs.addAll(added.runs);
    merge(added.locations, locations);
    merge(added.racks, racks);
  }

  private static void merge(Map<Integer, Held> from, Map<Integer, Held> into) {
    from.forEach((id, held) -> {
      Held sum = into.computeIfAbsent(id, key -> new Held());
      sum.blocks += held.blocks;
      sum.bytes += held.bytes;
    });
  }

  private void add(FileTotal file, long block, BlockLocations piece, int entry) {
    BlockRange range = file.range;
    int[] ids = piece.ids(entry);
    long whole = range.bytes(block);
    int[] ofRacks = new int[ids.length];
    int distinct = 0;
    for (int i = 0; i < ids.length; i++) {
      int id = ids[i];
      ofRacks[i] = id == Placement.NO_LOCATION ? Integer.MIN_VALUE : topology.rackOf(id);
      if (id == Placement.NO_LOCATION) {
        continue;
      }
      boolean sorted = range.policy() == BlockPolicy.RACKAWARE_SORT;
      // The last block that the file system counts may reach beyond the end of the file.
      long bytes =
          sorted ? Math.min(whole, piece.secondWord(entry, i) * range.unit()) : whole;
      boolean first = indexOf(ids, id) == i;
      distinct += first ? 1 : 0;
      count(locations, id, first, bytes);
      count(racks, ofRacks[i], indexOf(ofRacks, ofRacks[i]) == i, bytes);
    }
    if (distinct < range.wantedReplicas()) {
      file.underReplicated++;
      lengthenRun(range, block, distinct);
    }
  }

  private static void count(Map<Integer, Held> where, int id, boolean first, long bytes) {
    Held held = where.computeIfAbsent(id, key -> new Held());
    held.blocks += first ? 1 : 0;
    held.bytes += bytes;
  }

  private void lengthenRun(BlockRange range, long block, int distinct) {
    Run last = runs.isEmpty() ? null : runs.get(runs.size() - 1);
    if (last == null || last.locations != distinct || last.firstBlock + last.blocks != block) {
      last = new Run(range, block, distinct);
      runs.add(last);
    }
    last.blocks++;
  }

  private static int indexOf(int[] ids, int id) {
    int i = 0;
    while (ids[i] != id) {
      i++;
    }
    return i;
  }

  List<FileTotal> files() {
    return Collections.unmodifiableList(files);
  }

  /** What each location holds, those of the topology that hold nothing too. */
  SortedMap<Integer, Held> locations() {
    SortedMap<Integer, Held> all = new TreeMap<>(locations);
    topology.racks().values().forEach(
        members -> members.forEach(location -> all.computeIfAbsent(location, id -> new Held())));
    return all;
  }

  /** What each rack holds, none if no racks are known; locations without one stand last. */
  Map<Integer, Held> racks() {
    Map<Integer, Held> all = new LinkedHashMap<>();
    if (topology.racks().isEmpty()) {
      return all;
    }
    topology.racks().keySet().forEach(rack -> all.put(rack, heldBy(rack)));
    if (racks.containsKey(Placement.NO_RACK)) {
      all.put(Placement.NO_RACK, heldBy(Placement.NO_RACK));
    }
    return all;
  }

  private Held heldBy(int rack) {
    Held held = racks.getOrDefault(rack, new Held());
    held.locations =
        rack == Placement.NO_RACK
            ? (int) locations.keySet().stream().filter(id -> topology.rackOf(id) == rack).count()
            : topology.racks().get(rack).size();
    return held;
  }

  int rackOf(int location) {
    return topology.rackOf(location);
  }

  List<Run> underReplicated() {
    return Collections.unmodifiableList(runs);
  }

  /** The part of all bytes that a location or rack holds, from 0 to 1. */
  double share(Held held) {
    // Replicas of the longest files have more bytes than a long counts.
    double all = locations.values().stream().mapToDouble(each -> each.bytes).sum();
    return all == 0 ? 0 : held.bytes / all;
  }

  long blocks() {
    return files.stream().mapToLong(file -> file.range.count()).sum();
  }

  long underReplicatedBlocks() {
    return files.stream().mapToLong(file -> file.underReplicated).sum();
  }

  /** How much of the files was asked for. */
  long length() {
    return files.stream().mapToLong(file -> file.range.length()).sum();
  }
}
