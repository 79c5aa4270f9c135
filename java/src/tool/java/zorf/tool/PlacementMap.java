package zorf.tool;

/** The placement as text: a row for each location, a character for each column of blocks. */
final class PlacementMap {
  /** More rows than this are hard to compare; locations share them then. */
  private static final int MAX_ROWS = 48;

  private static final String UNICODE_SHADES = "\u00b7\u2591\u2592\u2593\u2588";
  private static final String ASCII_SHADES = ".:+*#";
  private static final int BAR = 10;
  private static final int LABEL = 6;
  private static final int TOTAL = 9;
  /** Of the 256 colours that terminals have: told apart on light and on dark. */
  private static final int[] RACK_COLORS = {33, 172, 35, 168, 98, 37, 136, 166};

  private final BlockRange range;
  private final int width;
  private final boolean colored;
  private final boolean unicode;
  private final Placement placement;
  private final int label;
  private final int total;

  /** A map of all blocks of a range that fits into a terminal. */
  PlacementMap(BlockRange range, Topology topology, int width, boolean colored, boolean unicode) {
    this.range = range;
    this.width = width;
    this.colored = colored;
    this.unicode = unicode;
    Placement first = new Placement(range, topology, columns(LABEL, TOTAL), MAX_ROWS);
    label = Math.max(LABEL, longestLabel(first));
    total = Math.max(TOTAL, Sizes.exact(first.largestTotal()).length());
    placement =
        columns(label, total) == columns(LABEL, TOTAL)
            ? first
            : new Placement(range, topology, columns(label, total), MAX_ROWS);
  }

  /** How many columns of blocks fit between the labels and the totals. */
  private int columns(int labelWidth, int totalWidth) {
    return Math.max(10, width - labelWidth - BAR - totalWidth - 6);
  }

  private static int longestLabel(Placement placement) {
    int longest = 0;
    for (PlacementRows.Group group : placement.groups()) {
      if (group.isOneRow()) {
        longest = Math.max(longest, group.name.length());
        continue;
      }
      for (PlacementRows.Row row : group.rows) {
        longest = Math.max(longest, row.label.length());
      }
    }
    return longest;
  }

  /** What the map is of; the path is shortened if the line is to fit. */
  String title(boolean fits) {
    String path = Output.printable(range.path());
    String what = ": " + range.what();
    int room = Math.max(12, width - what.length());
    return (fits ? Shortened.toColumns(path, room, unicode) : path) + what;
  }

  String render() {
    StringBuilder text = new StringBuilder();
    int group = 0;
    for (PlacementRows.Group rows : placement.groups()) {
      int color = RACK_COLORS[group++ % RACK_COLORS.length];
      if (rows.isOneRow()) {
        row(text, rows.name, rows.rows.get(0), color);
        continue;
      }
      if (!rows.name.isEmpty()) {
        colored(text, color, rows.name);
        text.append('\n');
      }
      for (PlacementRows.Row row : rows.rows) {
        row(text, row.label, row, color);
      }
    }
    shown(text);
    legend(text);
    return text.toString();
  }

  private void row(StringBuilder text, String name, PlacementRows.Row row, int color) {
    String shades = shades();
    indent(text, name).append("  ");
    StringBuilder cells = new StringBuilder();
    for (int column = 0; column < placement.columns(); column++) {
      cells.append(shades.charAt(placement.shade(row, column, shades.length() - 1)));
    }
    colored(text, color, cells.toString());
    long held = placement.total(row);
    int bar = (int) Math.round((double) held * BAR / Math.max(1, placement.largestTotal()));
    text.append("  ");
    colored(text, color, Table.repeat(unicode ? "\u2586" : "=", bar));
    String number = Sizes.exact(held);
    text.append(Table.repeat(" ", BAR - bar + 1 + total - number.length()));
    text.append(number).append('\n');
  }

  private StringBuilder indent(StringBuilder text, String name) {
    return text.append(Table.repeat(" ", label - name.length())).append(name);
  }

  /** Which part of the file the columns stand for. */
  private void shown(StringBuilder text) {
    long first = range.firstNumber();
    String blocks =
        range.count() == 1
            ? "block " + Sizes.exact(first)
            : "blocks " + Sizes.exact(first) + " to " + Sizes.exact(first + range.count() - 1);
    indent(text, "").append("  ").append(blocks).append(": ").append(range.shown()).append('\n');
  }

  private void legend(StringBuilder text) {
    int steps = shades().length() - 1;
    String margin = Table.repeat(" ", label + 2);
    String what = what();
    text.append(margin).append(what);
    int column = margin.length() + what.length();
    for (int shade = placement.allOrNothing() ? steps : 0; shade <= steps; shade++) {
      String share = share(shade, steps);
      int hues = shade == 0 ? 1 : hues();
      boolean first = column == margin.length();
      String gap = first ? "" : shade == 0 ? " " : "  ";
      if (!first && column + gap.length() + hues + share.length() > width) {
        gap = "\n" + margin;
        column = margin.length();
      } else {
        column += gap.length();
      }
      text.append(gap);
      swatch(text, shade, hues);
      text.append(share);
      column += hues + share.length();
    }
    text.append('\n');
  }

  private String share(int shade, int steps) {
    if (shade == 0) {
      return " none";
    }
    return placement.allOrNothing()
        ? " a replica"
        : (unicode ? " \u2264 " : " <= ") + placement.shadeText(shade, steps);
  }

  private String what() {
    if (placement.allOrNothing()) {
      return "";
    }
    long blocks = placement.blocksPerColumn();
    return "of each "
        + (blocks == 1 ? "block" : Sizes.exact(blocks) + " blocks")
        + (placement.sharedRows() ? ", a location on average:" : ":");
  }

  private int hues() {
    return colored ? Math.min(RACK_COLORS.length, placement.groups().size()) : 1;
  }

  /** A shade as it looks in the hue of each rack; none looks the same in all. */
  private void swatch(StringBuilder text, int shade, int hues) {
    String character = String.valueOf(shades().charAt(shade));
    if (shade == 0) {
      text.append(character);
      return;
    }
    for (int hue = 0; hue < hues; hue++) {
      colored(text, RACK_COLORS[hue], character);
    }
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
