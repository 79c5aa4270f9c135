package zorf.tool;

import java.util.Locale;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockPolicy;

/**
 * The placement as a picture: a row for each location, grouped by racks, a column for each block or
 * group of blocks, and how much each location holds in all. It has no background and colours of
 * middle brightness, so that it can be read on white and on black.
 */
final class PlacementSvg {
  private static final String[] RACK_COLORS = {
    "#3b82f6", "#e0882e", "#22a06b", "#d9508a", "#8b6cf0", "#17a2b8", "#b8960c", "#e5604d"
  };
  private static final String INK = "#7b8494";
  private static final int MAX_COLUMNS = 200;
  /** More rows than this are hard to compare; locations share them then. */
  private static final int MAX_ROWS = 96;
  private static final int SHADES = 5;
  private static final double TOP = 74;
  private static final double ROW = 15;
  private static final double MATRIX_WIDTH = 800;
  private static final double MAX_COLUMN = 26;
  private static final double BAR_WIDTH = 110;
  private static final double SWATCH = 24;
  private static final double MIN_WIDTH = 484;
  private static final double MARGIN = 12;
  private static final double TITLE = 17;
  private static final double TEXT = 11;
  private static final double SMALL = 10;

  private final BlockRange range;
  private final Placement placement;
  private final double column;
  private final double width;
  private final double labelWidth;
  private final double left;
  private final double rackGap;
  private final StringBuilder svg = new StringBuilder();

  PlacementSvg(BlockRange range, Topology topology) {
    this.range = range;
    placement = new Placement(range, topology, MAX_COLUMNS, MAX_ROWS);
    column = Math.min(MAX_COLUMN, MATRIX_WIDTH / Math.max(1, placement.columns()));
    width = column * placement.columns();
    double label = 28;
    double rack = 42;
    for (PlacementRows.Group group : placement.groups()) {
      rack = Math.max(rack, Shortened.boldWidth(group.name, TEXT));
      for (PlacementRows.Row row : group.rows) {
        label = Math.max(label, Shortened.width(row.label, TEXT));
      }
    }
    labelWidth = label;
    left = MARGIN + rack + 14 + label + 8;
    rackGap = placement.groups().size() > 16 ? 5 : 12;
  }

  String render() {
    return range.hasLocations() ? matrix() : nothing();
  }

  private String matrix() {
    double y = TOP;
    int color = 0;
    for (PlacementRows.Group group : placement.groups()) {
      group(group, y, RACK_COLORS[color++ % RACK_COLORS.length]);
      y += group.rows.size() * ROW + rackGap;
    }
    y -= rackGap;
    axis(y);
    double legendEnd = legend(y + 62);
    String total = Sizes.exact(placement.largestTotal());
    double barsEnd = barsLeft() + BAR_WIDTH + 5 + Shortened.width(total, SMALL);
    text(barsLeft(), TOP - 10, "", barsTitle());
    double barsTitleEnd = barsLeft() + Shortened.width(barsTitle(), TEXT);
    String body = svg.toString();
    svg.setLength(0);
    open(Math.max(Math.max(barsEnd, barsTitleEnd), legendEnd), y + 84);
    return svg.append(body).append("</svg>\n").toString();
  }

  /** Says why there is nothing to draw. */
  private String nothing() {
    String why = range.whyNoLocations();
    open(left + Shortened.width(why, TEXT), TOP + 22);
    text(left, TOP, "font-style=\"italic\"", why);
    return svg.append("</svg>\n").toString();
  }

  /** Begins the picture: its frame holds everything down to a place, and the title fits into it. */
  private void open(double right, double bottom) {
    String what =
        range.shown()
            + " \u00b7 "
            + range.blocks()
            + " \u00b7 "
            + range.replicaText()
            + " \u00b7 "
            + range.policy().text();
    double whatEnd = left + Shortened.width(what, TEXT);
    double frame = Math.max(Math.max(right, whatEnd) + MARGIN, MIN_WIDTH);
    add(
        "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 %s %s\" width=\"%s\" height=\"%s\""
            + " font-family=\"system-ui, 'DejaVu Sans', Helvetica, Arial, sans-serif\""
            + " font-size=\"%s\" fill=\"%s\">\n",
        number(frame), number(bottom), number(frame), number(bottom), number(TEXT), INK);
    add("<title>Placement of %s</title>\n", escape(range.path()));
    String title = Shortened.toWidth(Output.printable(range.path()), frame - left - MARGIN, TITLE);
    text(left, 28, "font-size=\"" + number(TITLE) + "\" font-weight=\"600\"", title);
    text(left, 48, "", what);
  }

  private String barsTitle() {
    return range.policy() == BlockPolicy.RACKAWARE_SORT ? "file system blocks" : "replicas held";
  }

  private double barsLeft() {
    return left + width + 14;
  }

  private void group(PlacementRows.Group group, double top, String color) {
    double height = group.rows.size() * ROW;
    double barLeft = left - 8 - labelWidth - 7;
    if (!group.name.isEmpty()) {
      text(
          barLeft - 7,
          top + height / 2 + 4,
          "text-anchor=\"end\" font-weight=\"600\" fill=\"" + color + "\"",
          group.name);
    }
    add(
        "<rect x=\"%s\" y=\"%s\" width=\"3\" height=\"%s\" rx=\"1.5\" fill=\"%s\"/>\n",
        number(barLeft), number(top), number(height - 1), color);
    add(
        "<rect x=\"%s\" y=\"%s\" width=\"%s\" height=\"%s\" fill=\"%s\" fill-opacity=\".09\"/>\n",
        number(left), number(top), number(width), number(height - 1), INK);
    double y = top;
    for (PlacementRows.Row row : group.rows) {
      row(row, y, color);
      y += ROW;
    }
  }

  private void row(PlacementRows.Row row, double y, String color) {
    text(left - 8, y + ROW - 4, "text-anchor=\"end\"", row.label);
    cells(row, y, color);
    long total = placement.total(row);
    double bar = BAR_WIDTH * total / Math.max(1, placement.largestTotal());
    add(
        "<rect x=\"%s\" y=\"%s\" width=\"%s\" height=\"%s\" rx=\"1\" fill=\"%s\"/>\n",
        number(barsLeft()), number(y + 1), number(bar), number(ROW - 3), color);
    String size = "font-size=\"" + number(SMALL) + "\"";
    text(barsLeft() + bar + 5, y + ROW - 4, size, Sizes.exact(total));
  }

  /** One path for each shade, and one piece of it for each run of equal columns: it keeps small. */
  private void cells(PlacementRows.Row row, double y, String color) {
    double gap = column >= 8 ? 1 : 0;
    for (int shade = 1; shade <= SHADES; shade++) {
      StringBuilder path = new StringBuilder();
      for (int start = 0; start < placement.columns(); start++) {
        if (shade(row, start) != shade) {
          continue;
        }
        int end = start + 1;
        while (gap == 0 && end < placement.columns() && shade(row, end) == shade) {
          end++;
        }
        String length = number((end - start) * column - gap);
        path.append('M').append(number(left + start * column)).append(' ').append(number(y));
        path.append('h').append(length).append('v').append(number(ROW - 1));
        path.append("h-").append(length).append('z');
        start = end - 1;
      }
      if (path.length() > 0) {
        add(
            "<path fill=\"%s\" fill-opacity=\"%s\" d=\"%s\"/>\n", color, opacity(shade), path);
      }
    }
  }

  private int shade(PlacementRows.Row row, int at) {
    return placement.shade(row, at, SHADES);
  }

  private static String opacity(int shade) {
    return number(0.12 + 0.88 * shade / SHADES);
  }

  private void axis(double y) {
    double end = left + width;
    add(
        "<path d=\"M%s %sH%s\" stroke=\"%s\" stroke-opacity=\".6\" fill=\"none\"/>\n",
        number(left), number(y + 4), number(end), INK);
    long blocks = range.count();
    long step = step(blocks);
    double perBlock = column / placement.blocksPerColumn();
    for (long block = 0; block < blocks; block += step) {
      double x = left + block * perBlock;
      add(
          "<path d=\"M%s %sv5\" stroke=\"%s\" stroke-opacity=\".6\"/>\n",
          number(x), number(y + 4), INK);
      text(x, y + 21, "", Sizes.exact(range.firstNumber() + block));
      text(x, y + 34, "font-size=\"9\"", Sizes.human(range.offset(block)));
    }
    text(left - 8, y + 21, "text-anchor=\"end\"", "block");
    text(left - 8, y + 34, "text-anchor=\"end\" font-size=\"9\"", "offset");
  }

  /** A round number of blocks between two marks that leaves room for their texts. */
  private long step(long blocks) {
    double perBlock = column / placement.blocksPerColumn();
    long step = 1;
    while (step < blocks && step * perBlock < 72) {
      step *= 2;
    }
    return step;
  }

  /** What the shades mean, each in the hue of every rack; tells where it ends. */
  private double legend(double y) {
    String held = held();
    text(left, y, "", held);
    double x = left + Shortened.width(held, TEXT) + 6;
    int hues = Math.min(RACK_COLORS.length, placement.groups().size());
    for (int shade = placement.allOrNothing() ? SHADES : 0; shade <= SHADES; shade++) {
      double stripe = SWATCH / (shade == 0 ? 1 : hues);
      for (int hue = 0; hue < (shade == 0 ? 1 : hues); hue++) {
        add(
            "<rect x=\"%s\" y=\"%s\" width=\"%s\" height=\"11\" fill=\"%s\""
                + " fill-opacity=\"%s\"/>\n",
            number(x + hue * stripe),
            number(y - 9),
            number(stripe),
            shade == 0 ? INK : RACK_COLORS[hue],
            shade == 0 ? ".09" : opacity(shade));
      }
      String share =
          shade == 0
              ? "none"
              : placement.allOrNothing()
                  ? "a replica"
                  : "\u2264 " + placement.shadeText(shade, SHADES);
      text(x + SWATCH + 5, y, "", share);
      x += SWATCH + 5 + Shortened.width(share, TEXT) + 10;
    }
    return x - 10;
  }

  private String held() {
    String who = placement.sharedRows() ? "a location holds on average" : "a location holds";
    return placement.blocksPerColumn() == 1
        ? who + " of the block:"
        : who + " of each " + Sizes.exact(placement.blocksPerColumn()) + " blocks:";
  }

  private void text(double x, double y, String attributes, String text) {
    add(
        "<text x=\"%s\" y=\"%s\"%s>%s</text>%n",
        number(x), number(y), attributes.isEmpty() ? "" : " " + attributes, escape(text));
  }

  private void add(String format, Object... values) {
    svg.append(String.format(Locale.ROOT, format, values));
  }

  private static String number(double value) {
    String text = String.format(Locale.ROOT, "%.2f", value);
    return text.replaceFirst("\\.?0+$", "");
  }

  static String escape(String text) {
    StringBuilder escaped = new StringBuilder();
    for (int i = 0; i < text.length(); i++) {
      char c = text.charAt(i);
      switch (c) {
        case '&':
          escaped.append("&amp;");
          break;
        case '<':
          escaped.append("&lt;");
          break;
        case '>':
          escaped.append("&gt;");
          break;
        case '"':
          escaped.append("&quot;");
          break;
        default:
          // Controls and lone surrogates have no place in XML, whatever they are written as.
          boolean lone = Character.isSurrogate(c) && !Json.paired(text, i);
          escaped.append(c < ' ' || c == 0x7F || c >= 0xFFFE || lone ? '?' : c);
      }
    }
    return escaped.toString();
  }
}
