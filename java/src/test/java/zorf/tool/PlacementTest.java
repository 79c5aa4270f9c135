package zorf.tool;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.ByteArrayInputStream;
import java.nio.charset.StandardCharsets;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.stream.Collectors;
import javax.xml.parsers.DocumentBuilderFactory;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockPolicy;
import org.junit.jupiter.api.Test;
import org.w3c.dom.Document;
import org.w3c.dom.Element;
import org.w3c.dom.NodeList;

/** From block locations and racks to maps and pictures. */
class PlacementTest {
  private static final Topology RACKS =
      Topology.parse("racks", "block-size 4M\nreplicas 2\nrack 1: 11 12 # two\n\nrack 7: 21\n");

  private static Placement placement(BlockRange range) {
    return new Placement(range, RACKS, 200, 96);
  }

  private static PlacementRows.Row row(int location) {
    return new PlacementRows.Row(List.of(location));
  }

  private static String map(BlockRange range, int width) {
    return new PlacementMap(range, RACKS, width, false, false).render();
  }

  /** Racks of so many locations each, the third one of rack 5 is 502. */
  private static Topology racks(int racks, int locations) {
    StringBuilder text = new StringBuilder();
    for (int rack = 0; rack < racks; rack++) {
      text.append("rack ").append(rack).append(':');
      for (int i = 0; i < locations; i++) {
        text.append(' ').append(100 * rack + i);
      }
      text.append('\n');
    }
    return Topology.parse("racks", text.toString());
  }

  @Test
  void theMapExplainsItsShades() {
    String map = map(BlockRanges.many(BlockPolicy.RACKAWARE, 300), 61);
    assertEquals(
        String.join(
            "\n",
            "rack 1",
            "    11  ++++++++++++++++++++++++++++++  =====            150",
            "    12  ++++++++++++++++++++++++++++++  =====            150",
            "rack 7",
            "    21  ##############################  ==========       300",
            "        blocks 0 to 299: 300 MiB",
            "        of each 10 blocks: . none  : <= 25%  + <= 50%",
            "        * <= 75%  # <= 100%",
            ""),
        map);
  }

  @Test
  void theMapTellsWhichPartItShows() {
    BlockRange part =
        BlockRanges.alternating()
            .part("file", BlockPolicy.RACKAWARE, 4L << 30, 1 << 30, BlockRanges.MEBI);
    String map = map(part, 80);
    assertTrue(map.contains("\n        block 1,024: 1 MiB at 1 GiB of 4 GiB\n"), map);
  }

  @Test
  void theTitleOfTheMapFitsIntoATerminal() {
    String path = "/zorf/projects/2026/simulation/output/run-0017/events-40g.dat";
    BlockRange range = BlockRanges.alternating().whole(path, BlockPolicy.LOCAL, 3);
    PlacementMap map = new PlacementMap(range, RACKS, 80, false, true);
    assertEquals(path + ": 3 blocks of 1 MiB, 2 replicas (local)", map.title(false));
    String title =
        "/zorf/projects\u2026ut/run-0017/events-40g.dat: 3 blocks of 1 MiB, 2 replicas (local)";
    assertEquals(title, map.title(true));
    assertEquals(80, title.length());
  }

  @Test
  void theMapOfManyLocationsHasFewRows() {
    BlockRange range =
        new BlockRanges(1, block -> new int[] {(int) (100 * (block % 20) + block % 50), 1})
            .whole("file", BlockPolicy.RACKAWARE, 100);
    String map = new PlacementMap(range, racks(20, 50), 80, false, false).render();
    String[] lines = map.split("\n");
    assertEquals(20 * 3 + 3, lines.length);
    assertEquals("rack 0", lines[0]);
    assertTrue(lines[1].startsWith("     0-24  "), lines[1]);
    assertTrue(lines[2].startsWith("    25-49  "), lines[2]);
    assertTrue(lines[59].startsWith("1925-1949  "), lines[59]);
    for (String line : lines) {
      assertTrue(line.length() <= 80, line);
    }
    assertEquals("           blocks 0 to 99: 100 MiB", lines[60]);
    assertEquals(
        "           of each 3 blocks, a location on average: . none  : <= 1.0%  + <= 2.0%",
        lines[61]);
  }

  @Test
  void topologiesNameTheirMistakes() {
    assertEquals(Map.of(1, List.of(11, 12), 7, List.of(21)), RACKS.racks());
    for (String[] wrong :
        new String[][] {
          {"rack 1: 5\nrack 2: 5", "f:2: location 5 is given twice"},
          {"rack 1: 5\nrack 1: 6", "f:2: rack 1 is given twice"},
          {"rack 1:", "f:1: a rack reads 'rack NUMBER: LOCATION...'"},
          {"\nshelf 1: 2", "f:2: a rack reads 'rack NUMBER: LOCATION...'"},
          {"rack 99999999999: 2", "f:1: a rack reads 'rack NUMBER: LOCATION...'"},
          {"# none", "f: there is no rack"},
        }) {
      Failure e = assertThrows(Failure.class, () -> Topology.parse("f", wrong[0]));
      assertEquals(wrong[1], e.getMessage());
    }
  }

  @Test
  void whoHoldsABlockIsCounted() {
    Placement placement =
        placement(BlockRanges.of(BlockPolicy.RACKAWARE, 2, 11, 21, 1, 7, 12, 99, 1, 0));
    assertEquals(2, placement.columns());
    assertEquals(1, placement.blocksPerColumn());
    assertEquals(
        "rack 1: 11 12, rack 7: 21, no rack: 99", described(placement.groups()));
    assertEquals(1, placement.share(row(11), 0));
    assertEquals(0, placement.share(row(11), 1));
    assertEquals(1, placement.share(row(99), 1));
    assertEquals(1, placement.total(row(21)));
  }

  private static String described(List<PlacementRows.Group> groups) {
    return groups.stream()
        .map(group -> group.name + ": "
            + group.rows.stream().map(row -> row.label).collect(Collectors.joining(" ")))
        .collect(Collectors.joining(", "));
  }

  @Test
  void locationsShareRowsWhereThereAreMany() {
    Map<Integer, List<Integer>> racks = new LinkedHashMap<>(racks(3, 10).racks());
    assertEquals(
        "rack 0: 0-1 2-4 5-6 7-9, rack 1: 100-101 102-104 105-106 107-109,"
            + " rack 2: 200-201 202-204 205-206 207-209",
        described(PlacementRows.group(racks, 14)));
    assertEquals(
        "rack 0: 0-9, rack 1: 100-109, rack 2: 200-209",
        described(PlacementRows.group(racks, 3)));
    assertEquals(
        "racks 0-1: 0-109, rack 2: 200-209", described(PlacementRows.group(racks, 2)));
    racks.put(Placement.NO_RACK, List.of(7000, 7001));
    assertEquals(
        "racks 0-1: 0-109, rack 2: 200-209, no rack: 7000-7001",
        described(PlacementRows.group(racks, 3)));
    assertEquals(
        ": 7000 7001",
        described(PlacementRows.group(Map.of(Placement.NO_RACK, List.of(7000, 7001)), 3)));
  }

  @Test
  void rowsAreBoundedWhateverTheRacks() {
    for (int racks : new int[] {1, 2, 95, 96, 97, 256}) {
      for (int locations : new int[] {1, 2, 16, 99}) {
        int rows = 0;
        int members = 0;
        for (PlacementRows.Group group :
            PlacementRows.group(racks(racks, locations).racks(), 96)) {
          rows += group.rows.size();
          members += group.rows.stream().mapToInt(row -> row.locations.size()).sum();
        }
        assertTrue(rows <= 96, racks + " of " + locations + ": " + rows);
        assertEquals(racks * locations, members);
      }
    }
  }

  @Test
  void aRowOfSeveralLocationsShowsTheirAverage() {
    Placement placement =
        new Placement(BlockRanges.many(BlockPolicy.RACKAWARE, 100), RACKS, 10, 2);
    PlacementRows.Row both = placement.groups().get(0).rows.get(0);
    assertEquals("11-12", both.label);
    assertEquals(0.5, placement.share(both, 0));
    assertEquals(100, placement.total(both));
    assertTrue(placement.sharedRows());
  }

  @Test
  void sortedBlocksAreHeldByTheirCounts() {
    Placement placement =
        placement(
            BlockRanges.of(BlockPolicy.RACKAWARE_SORT, 2, 11, -1, 3, -1, 12, 21, 4, 1));
    assertEquals(0.75, placement.share(row(11), 0));
    assertEquals(0.25, placement.share(row(21), 1));
    assertEquals(4, placement.largestTotal());
    assertEquals("rack 1: 11 12, rack 7: 21", described(placement.groups()));
  }

  @Test
  void manyBlocksShareColumns() {
    Placement placement = placement(BlockRanges.many(BlockPolicy.LOCAL, 10240));
    assertEquals(52, placement.blocksPerColumn());
    assertEquals(197, placement.columns());
    assertEquals(1, placement.share(row(21), 196));
    assertEquals(0.5, placement.share(row(11), 0));
    assertEquals(5120, placement.total(row(12)));
    assertEquals(5, placement.shade(row(21), 0, 5));
    assertEquals(3, placement.shade(row(12), 0, 5));
  }

  @Test
  void theMapHasARowForEachLocation() {
    BlockRange range = BlockRanges.of(BlockPolicy.RACKAWARE, 2, 11, 21, 1, 7, 12, 21, 1, 7);
    assertEquals(
        String.join(
            "\n",
            "rack 1",
            "    11  #.  =====              1",
            "    12  .#  =====              1",
            "rack 7",
            "    21  ##  ==========         2",
            "        blocks 0 to 1: 2 MiB",
            "        # a replica",
            ""),
        map(range, 80));
    assertEquals(
        String.join(
            "\n",
            "<33>rack 1<0>",
            "    11  <33>\u2588\u00b7<0>  <33>\u2586\u2586\u2586\u2586\u2586<0>              1",
            "    12  <33>\u00b7\u2588<0>  <33>\u2586\u2586\u2586\u2586\u2586<0>              1",
            "<172>rack 7<0>",
            "    21  <172>\u2588\u2588<0>  <172>" + "\u2586".repeat(10) + "<0>         2",
            "        blocks 0 to 1: 2 MiB",
            "        <33>\u2588<0><172>\u2588<0> a replica",
            ""),
        new PlacementMap(range, RACKS, 80, true, true)
            .render()
            .replaceAll("\u001b\\[(?:38;5;)?([0-9]+)m", "<$1>"));
  }

  private static Document svg(BlockRange range) throws Exception {
    return svg(range, RACKS);
  }

  private static Document svg(BlockRange range, Topology topology) throws Exception {
    String text = new PlacementSvg(range, topology).render();
    return DocumentBuilderFactory.newInstance()
        .newDocumentBuilder()
        .parse(new ByteArrayInputStream(text.getBytes(StandardCharsets.UTF_8)));
  }

  private static String texts(Document svg) {
    StringBuilder texts = new StringBuilder();
    NodeList nodes = svg.getElementsByTagName("text");
    for (int i = 0; i < nodes.getLength(); i++) {
      texts.append(nodes.item(i).getTextContent()).append('|');
    }
    return texts.toString();
  }

  @Test
  void thePictureIsWellFormedWhateverTheName() throws Exception {
    String name = "<a href=\"x\">&amp;\u0001\n\ud83d\uffff";
    Document svg = svg(BlockRanges.alternating().whole(name, BlockPolicy.RACKAWARE, 3));
    assertEquals("svg", svg.getDocumentElement().getTagName());
    String shown = "<a href=\"x\">&amp;????";
    assertTrue(
        texts(svg)
            .startsWith(
                shown + "|3 MiB \u00b7 3 blocks of 1 MiB \u00b7 2 replicas \u00b7 rackaware|"),
        texts(svg));
  }

  @Test
  void thePictureNamesRacksAndLocations() throws Exception {
    String texts = texts(svg(BlockRanges.many(BlockPolicy.LOCAL, 10240)));
    for (String text :
        new String[] {"rack 1|", "rack 7|", "|11|", "|12|", "|21|", "|5,120|", "|10,240|",
          "a location holds of each 52 blocks:|none|"}) {
      assertTrue(texts.contains(text), text + " in " + texts);
    }
  }

  @Test
  void thePictureTellsWhichPartItShows() throws Exception {
    BlockRange part =
        BlockRanges.alternating()
            .part("file", BlockPolicy.RACKAWARE, 4L << 30, 1 << 30, 3 * BlockRanges.MEBI);
    assertTrue(
        texts(svg(part))
            .startsWith(
                "file|3 MiB at 1 GiB of 4 GiB \u00b7 3 blocks of 1 MiB \u00b7 2 replicas"
                    + " \u00b7 rackaware|rack 1|"),
        texts(svg(part)));
  }

  @Test
  void aPictureWithoutLocationsSaysWhy() throws Exception {
    BlockRanges blocks = BlockRanges.alternating();
    assertEquals(
        "file|5 MiB \u00b7 blocks of 1 MiB \u00b7 2 replicas \u00b7 shared|"
            + "no locations: \"shared\" tells only block size and replica count|",
        texts(svg(blocks.whole("file", BlockPolicy.SHARED, 5))));
    assertEquals(
        "file|0 B \u00b7 no blocks \u00b7 2 replicas \u00b7 local|"
            + "no locations: there are no blocks|",
        texts(svg(blocks.whole("file", BlockPolicy.LOCAL, 0))));
  }

  @Test
  void theLegendHasTheHuesOfTheRacks() throws Exception {
    NodeList rects = svg(BlockRanges.many(BlockPolicy.RACKAWARE, 3)).getElementsByTagName("rect");
    StringBuilder swatches = new StringBuilder();
    for (int i = 0; i < rects.getLength(); i++) {
      Element rect = (Element) rects.item(i);
      if (rect.getAttribute("height").equals("11")) {
        swatches.append(rect.getAttribute("fill")).append(' ');
      }
    }
    assertEquals("#3b82f6 #e0882e ", swatches.toString());
  }

  @Test
  void longPathsAreShortenedInTheMiddle() {
    String path = "/zorf/projects/2026/simulation/output/run-0017/events-40g.dat";
    assertEquals(path, Shortened.toColumns(path, 61, true));
    assertEquals(
        "/zorf/project\u2026ut/run-0017/events-40g.dat", Shortened.toColumns(path, 40, true));
    assertEquals("/zorf/pro...7/events-40g.dat", Shortened.toColumns(path, 28, false));
    // Wide characters take two columns and are not cut in two.
    assertEquals(
        "\u6587\u6587\u2026\u6587\ud842\udfb7",
        Shortened.toColumns("\u6587".repeat(9) + "\ud842\udfb7", 9, true));
  }

  @Test
  void allOfThePictureLiesInIt() throws Exception {
    String longPath = "/zorf/" + "Wide MW/".repeat(40) + "\u6587".repeat(40);
    for (long blocks : new long[] {0, 1, 8, 200, 201, 10240, 1_000_000}) {
      for (String path : new String[] {"file", longPath}) {
        for (Topology racks : new Topology[] {RACKS, racks(20, 50), racks(200, 5)}) {
          for (BlockPolicy policy : BlockPolicy.values()) {
            if (blocks < 20_000 || policy == BlockPolicy.LOCAL) {
              liesInIt(svg(BlockRanges.alternating().whole(path, policy, blocks), racks));
            }
          }
        }
      }
    }
  }

  private static void liesInIt(Document svg) {
    String[] box = svg.getDocumentElement().getAttribute("viewBox").split(" ");
    double width = Double.parseDouble(box[2]);
    double height = Double.parseDouble(box[3]);
    NodeList rects = svg.getElementsByTagName("rect");
    for (int i = 0; i < rects.getLength(); i++) {
      Element rect = (Element) rects.item(i);
      double right = number(rect, "x") + number(rect, "width");
      assertTrue(right <= width, right + " of " + width);
      double bottom = number(rect, "y") + number(rect, "height");
      assertTrue(bottom <= height, bottom + " of " + height);
    }
    NodeList texts = svg.getElementsByTagName("text");
    for (int i = 0; i < texts.getLength(); i++) {
      Element text = (Element) texts.item(i);
      String words = text.getTextContent();
      String size = text.getAttribute("font-size");
      double fontSize = size.isEmpty() ? 11 : Double.parseDouble(size);
      boolean bold = !text.getAttribute("font-weight").isEmpty();
      double length =
          bold ? Shortened.boldWidth(words, fontSize) : Shortened.width(words, fontSize);
      boolean ends = text.getAttribute("text-anchor").equals("end");
      double left = number(text, "x") - (ends ? length : 0);
      assertTrue(left >= 0 && left + length <= width, words + " at " + left + " of " + width);
      assertTrue(number(text, "y") <= height, words);
    }
  }

  private static double number(Element element, String attribute) {
    return Double.parseDouble(element.getAttribute(attribute));
  }

  @Test
  void aPictureOfManyBlocksStaysSmall() {
    BlockRange range = BlockRanges.many(BlockPolicy.LOCAL, 1_000_000);
    String text = new PlacementSvg(range, RACKS).render();
    assertTrue(text.length() < 20_000, "it has " + text.length() + " characters");
  }
}
