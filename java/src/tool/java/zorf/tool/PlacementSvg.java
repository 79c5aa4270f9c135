package zorf.tool;

import java.util.List;
import java.util.Locale;
import java.util.Map;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockLocations;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockPolicy;
import zorf.common.Sizes;

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
  private static final int SHADES = 5;
  private static final double LEFT = 104;
  private static final double TOP = 74;
  private static final double MATRIX_WIDTH = 800;
  private static final double MAX_COLUMN = 26;
  private static final double BAR_WIDTH = 110;
  private static final double RACK_GAP = 12;
  private static final int MANY_LOCATIONS = 96;

  private final Placement placement;
  private final BlockLocations locations;
  private final BlockPolicy policy;
  private final String name;
  private final double column;
  private final double width;
  private final double row;
  private final StringBuilder svg = new StringBuilder();

  PlacementSvg(
      Placement placement, BlockLocations locations, BlockPolicy policy, String name) {
    this.placement = placement;
    this.locations = locations;
    this.policy = policy;
    this.name = name;
    column = Math.min(MAX_COLUMN, MATRIX_WIDTH / Math.max(1, placement.columns()));
    width = column * placement.columns();
    int rows = placement.racks().values().stream().mapToInt(List::size).sum();
    row = rows > MANY_LOCATIONS ? 4 : 15;
  }

  String render() {
    double y = TOP;
    int color = 0;
    StringBuilder body = new StringBuilder();
    for (Map.Entry<Integer, List<Integer>> rack : placement.racks().entrySet()) {
      rack(rack.getKey(), rack.getValue(), y, RACK_COLORS[color++ % RACK_COLORS.length]);
      y += rack.getValue().size() * row + RACK_GAP;
    }
    y -= RACK_GAP;
    axis(y);
    legend(y + 62);
    body.append(svg);
    svg.setLength(0);
    open(LEFT + Math.max(width + BAR_WIDTH + 76, placement.allOrNothing() ? 380 : 740), y + 84);
    heading();
    return svg.append(body).append("</svg>\n").toString();
  }

  private void open(double totalWidth, double totalHeight) {
    add(
        "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 %s %s\" width=\"%s\" height=\"%s\""
            + " font-family=\"system-ui, 'DejaVu Sans', Helvetica, Arial, sans-serif\""
            + " font-size=\"11\" fill=\"%s\">%n",
        number(totalWidth), number(totalHeight), number(totalWidth), number(totalHeight), INK);
    add("<title>Placement of %s</title>%n", escape(name));
  }

  private void heading() {
    text(LEFT, 28, "font-size=\"17\" font-weight=\"600\"", name);
    text(
        LEFT,
        48,
        "",
        Sizes.human(locations.length())
            + (locations.offset() == 0 ? "" : " at " + Sizes.offset(locations.offset()))
            + " \u00b7 "
            + Sizes.count(locations.blockCount(), "block")
            + " of "
            + Sizes.human(locations.blockSize())
            + " \u00b7 "
            + Sizes.count(locations.replicaCount(), "replica")
            + " \u00b7 "
            + policy.text());
    text(
        barsLeft(),
        TOP - 10,
        "",
        policy == BlockPolicy.RACKAWARE_SORT ? "file system blocks" : "replicas held");
  }

  private double barsLeft() {
    return LEFT + width + 14;
  }

  private void rack(int number, List<Integer> members, double top, String color) {
    double height = members.size() * row;
    boolean named = number != Placement.NO_RACK;
    if (named || placement.racks().size() > 1) {
      text(
          LEFT - 50,
          top + height / 2 + 4,
          "text-anchor=\"end\" font-weight=\"600\" fill=\"" + color + "\"",
          named ? "rack " + number : "no rack");
    }
    add(
        "<rect x=\"%s\" y=\"%s\" width=\"3\" height=\"%s\" rx=\"1.5\" fill=\"%s\"/>%n",
        number(LEFT - 43), number(top), number(height - 1), color);
    add(
        "<rect x=\"%s\" y=\"%s\" width=\"%s\" height=\"%s\" fill=\"%s\" fill-opacity=\".09\"/>%n",
        number(LEFT), number(top), number(width), number(height - 1), INK);
    double y = top;
    for (int location : members) {
      location(location, y, color);
      y += row;
    }
  }

  private void location(int location, double y, String color) {
    boolean labelled = row >= 9;
    if (labelled) {
      text(LEFT - 8, y + row - 4, "text-anchor=\"end\"", Integer.toString(location));
    }
    cells(location, y, color);
    long total = placement.total(location);
    double bar = BAR_WIDTH * total / Math.max(1, placement.largestTotal());
    add(
        "<rect x=\"%s\" y=\"%s\" width=\"%s\" height=\"%s\" rx=\"1\" fill=\"%s\"/>%n",
        number(barsLeft()), number(y + 1), number(bar), number(row - 3), color);
    if (labelled) {
      text(barsLeft() + bar + 5, y + row - 4, "font-size=\"10\"", Sizes.exact(total));
    }
  }

  /** One path for each shade, and one piece of it for each run of equal columns: it keeps small. */
  private void cells(int location, double y, String color) {
    double gap = column >= 8 ? 1 : 0;
    for (int shade = 1; shade <= SHADES; shade++) {
      StringBuilder path = new StringBuilder();
      for (int start = 0; start < placement.columns(); start++) {
        if (shade(location, start) != shade) {
          continue;
        }
        int end = start + 1;
        while (gap == 0 && end < placement.columns() && shade(location, end) == shade) {
          end++;
        }
        String length = number((end - start) * column - gap);
        path.append('M').append(number(LEFT + start * column)).append(' ').append(number(y));
        path.append('h').append(length).append('v').append(number(row - 1));
        path.append("h-").append(length).append('z');
        start = end - 1;
      }
      if (path.length() > 0) {
        add(
            "<path fill=\"%s\" fill-opacity=\"%s\" d=\"%s\"/>%n", color, opacity(shade), path);
      }
    }
  }

  private int shade(int location, int at) {
    return placement.shade(location, at, SHADES);
  }

  private static String opacity(int shade) {
    return number(0.12 + 0.88 * shade / SHADES);
  }

  private void axis(double y) {
    double end = LEFT + width;
    add(
        "<path d=\"M%s %sH%s\" stroke=\"%s\" stroke-opacity=\".6\" fill=\"none\"/>%n",
        number(LEFT), number(y + 4), number(end), INK);
    long blocks = locations.blockCount();
    long step = step(blocks);
    double perBlock = column / placement.blocksPerColumn();
    long first = locations.blockSize() == 0 ? 0 : locations.offset() / locations.blockSize();
    for (long block = 0; block < blocks; block += step) {
      double x = LEFT + block * perBlock;
      add(
          "<path d=\"M%s %sv5\" stroke=\"%s\" stroke-opacity=\".6\"/>%n",
          number(x), number(y + 4), INK);
      text(x, y + 21, "", Sizes.exact(first + block));
      text(x, y + 34, "font-size=\"9\"", Sizes.human((first + block) * locations.blockSize()));
    }
    text(LEFT - 8, y + 21, "text-anchor=\"end\"", "block");
    text(LEFT - 8, y + 34, "text-anchor=\"end\" font-size=\"9\"", "offset");
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

  private void legend(double y) {
    double x = LEFT;
    String held =
        placement.blocksPerColumn() == 1
            ? "a location holds of the block:"
            : "a location holds of each " + placement.blocksPerColumn() + " blocks:";
    text(x, y, "", held);
    x += 30 + 6.1 * held.length();
    for (int shade = placement.allOrNothing() ? SHADES : 0; shade <= SHADES; shade++) {
      String opacity = shade == 0 ? ".09" : opacity(shade);
      add(
          "<rect x=\"%s\" y=\"%s\" width=\"22\" height=\"11\" fill=\"%s\" fill-opacity=\"%s\"/>%n",
          number(x), number(y - 9), INK, opacity);
      String share =
          shade == 0
              ? "none"
              : placement.allOrNothing()
                  ? "a replica"
                  : "\u2264 " + placement.shadeText(shade, SHADES);
      text(x + 28, y, "", share);
      x += 84;
    }
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
