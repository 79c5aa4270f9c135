package zorf.tool;

import java.util.ArrayList;
import java.util.Collections;
import java.util.List;
import java.util.Map;

/**
 * The rows of maps and pictures, in groups: a row for each location of each rack while they are
 * few, else for several neighbours of one rack, and for several racks if need be.
 */
final class PlacementRows {
  private PlacementRows() {}

  /** Locations that share a row. */
  static final class Row {
    final List<Integer> locations;
    /** Such as "11", or "11-16" for several. */
    final String label;

    Row(List<Integer> locations) {
      this.locations = locations;
      int least = Collections.min(locations);
      int most = Collections.max(locations);
      label = least == most ? String.valueOf(least) : least + "-" + most;
    }
  }

  /** Rows that belong together. */
  static final class Group {
    /** Such as "rack 1"; empty where no racks are known. */
    final String name;
    final List<Row> rows;

    Group(String name, List<Row> rows) {
      this.name = name;
      this.rows = rows;
    }

    /** Whether its name tells more of its only row than the row's label does. */
    boolean isOneRow() {
      return !name.isEmpty() && rows.size() == 1 && rows.get(0).locations.size() > 1;
    }
  }

  /** Puts the locations of each rack into at most {@code maxRows} rows. */
  static List<Group> group(Map<Integer, List<Integer>> racks, int maxRows) {
    boolean someWithout = racks.containsKey(Placement.NO_RACK);
    int named = racks.size() - (someWithout ? 1 : 0);
    int namedRows = Math.max(1, maxRows - (someWithout ? 1 : 0));
    int racksInRow = Math.max(1, (named + namedRows - 1) / namedRows);
    int locationsInRow = racksInRow > 1 ? Integer.MAX_VALUE : locationsInRow(racks, maxRows);
    List<Group> groups = new ArrayList<>();
    List<Integer> together = new ArrayList<>();
    int first = 0;
    int pending = 0;
    int seen = 0;
    for (Map.Entry<Integer, List<Integer>> rack : racks.entrySet()) {
      if (rack.getKey() == Placement.NO_RACK) {
        String name = named == 0 ? "" : "no rack";
        groups.add(new Group(name, split(rack.getValue(), locationsInRow)));
        continue;
      }
      if (pending == 0) {
        first = rack.getKey();
      }
      together.addAll(rack.getValue());
      pending++;
      seen++;
      if (pending == racksInRow || seen == named) {
        String name = pending == 1 ? "rack " + first : "racks " + first + "-" + rack.getKey();
        groups.add(new Group(name, split(together, locationsInRow)));
        together = new ArrayList<>();
        pending = 0;
      }
    }
    return groups;
  }

  /** The fewest locations in a row that keep to a number of rows. */
  private static int locationsInRow(Map<Integer, List<Integer>> racks, int maxRows) {
    int most = racks.values().stream().mapToInt(List::size).max().orElse(1);
    for (int inRow = 1; inRow < most; inRow++) {
      int size = inRow;
      if (racks.values().stream().mapToInt(ids -> (ids.size() - 1) / size + 1).sum() <= maxRows) {
        return inRow;
      }
    }
    return most;
  }

  /** Into rows of almost the same length. */
  private static List<Row> split(List<Integer> locations, int most) {
    int count = (locations.size() - 1) / most + 1;
    List<Row> rows = new ArrayList<>();
    for (int i = 0; i < count; i++) {
      int from = (int) ((long) locations.size() * i / count);
      int to = (int) ((long) locations.size() * (i + 1) / count);
      rows.add(new Row(Collections.unmodifiableList(locations.subList(from, to))));
    }
    return rows;
  }
}
