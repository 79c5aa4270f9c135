package zorf.tool;

import java.util.List;
import java.util.Map;
import zorf.common.Table;

/** The placement as text: a row for each location, a character for each column of blocks. */
final class PlacementMap {
  private static final String UNICODE_SHADES = "\u00b7\u2591\u2592\u2593\u2588";
  private static final String ASCII_SHADES = ".:+*#";
  private static final int BAR = 10;
  /** Of the 256 colours that terminals have: told apart on light and on dark. */
  private static final int[] RACK_COLORS = {33, 172, 35, 168, 98, 37, 136, 166};

  private final Placement placement;
  private final boolean colored;
  private final boolean unicode;

  PlacementMap(Placement placement, boolean colored, boolean unicode) {
    this.placement = placement;
    this.colored = colored;
    this.unicode = unicode;
  }

  /** How many columns of blocks fit between a location's label and its total. */
  static int columnsIn(int width) {
    return Math.max(10, width - 8 - BAR - 13);
  }

  String render() {
    StringBuilder text = new StringBuilder();
    int color = 0;
    for (Map.Entry<Integer, List<Integer>> rack : placement.racks().entrySet()) {
      boolean named = rack.getKey() != Placement.NO_RACK;
      if (named) {
        text.append("rack ").append(rack.getKey()).append('\n');
      } else if (placement.racks().size() > 1) {
        text.append("no rack\n");
      }
      for (int location : rack.getValue()) {
        row(text, location, RACK_COLORS[color % RACK_COLORS.length]);
      }
      color++;
    }
    legend(text);
    return text.toString();
  }

  private void row(StringBuilder text, int location, int color) {
    String shades = shades();
    text.append(String.format("%6d  ", location));
    StringBuilder cells = new StringBuilder();
    for (int column = 0; column < placement.columns(); column++) {
      cells.append(shades.charAt(placement.shade(location, column, shades.length() - 1)));
    }
    colored(text, color, cells.toString());
    long total = placement.total(location);
    int bar = (int) Math.round((double) total * BAR / Math.max(1, placement.largestTotal()));
    text.append("  ");
    colored(text, color, Table.repeat(unicode ? "\u2586" : "=", bar));
    text.append(Table.repeat(" ", BAR - bar)).append(String.format(" %,9d%n", total));
  }

  private void legend(StringBuilder text) {
    String shades = shades();
    int steps = shades.length() - 1;
    if (placement.allOrNothing()) {
      text.append(String.format("%8s%s a replica%n", "", shades.charAt(steps)));
      return;
    }
    int blocks = placement.blocksPerColumn();
    text.append(String.format("%8s", ""))
        .append("of each ")
        .append(blocks == 1 ? "block" : blocks + " blocks")
        .append(": ")
        .append(shades.charAt(0))
        .append(" none");
    for (int i = 1; i <= steps; i++) {
      text.append("  ").append(shades.charAt(i)).append(unicode ? " \u2264 " : " <= ");
      text.append(placement.shadeText(i, steps));
    }
    text.append('\n');
  }

  private String shades() {
    return unicode ? UNICODE_SHADES : ASCII_SHADES;
  }

  private void colored(StringBuilder text, int color, String what) {
    if (colored && !what.isEmpty()) {
      text.append("\u001b[38;5;").append(color).append('m').append(what).append("\u001b[0m");
    } else {
      text.append(what);
    }
  }
}
