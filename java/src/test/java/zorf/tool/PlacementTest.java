package zorf.tool;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.ByteArrayInputStream;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.charset.StandardCharsets;
import java.util.List;
import java.util.Map;
import javax.xml.parsers.DocumentBuilderFactory;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockLocations;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockPolicy;
import org.junit.jupiter.api.Test;
import org.w3c.dom.Document;
import org.w3c.dom.Element;
import org.w3c.dom.NodeList;

/** From block locations and racks to maps and pictures. */
class PlacementTest {
  private static final int MEBI = 1 << 20;
  private static final Topology RACKS =
      Topology.parse("racks", "block-size 4M\nreplicas 2\nrack 1: 11 12 # two\n\nrack 7: 21\n");

  /** Blocks of 1 MiB, the words as they stand in the stream: identifiers, then second words. */
  private static BlockLocations locations(int replicas, int... words) {
    int blocks = words.length / (2 * replicas);
    ByteBuffer stream =
        ByteBuffer.allocate(32 + 4 * words.length).order(ByteOrder.nativeOrder());
    stream.putLong(0).putLong((long) blocks * MEBI).putLong(MEBI).putInt(blocks).putInt(replicas);
    for (int word : words) {
      stream.putInt(word);
    }
    return BlockLocations.decode(stream.array());
  }

  private static BlockLocations many(int blocks) {
    int[] words = new int[4 * blocks];
    for (int block = 0; block < blocks; block++) {
      words[4 * block] = 11 + block % 2;
      words[4 * block + 1] = 21;
    }
    return locations(2, words);
  }

  private static Placement placement(BlockLocations locations, BlockPolicy policy, int columns) {
    return new Placement(locations, policy, MEBI / 4, RACKS, columns);
  }

  @Test
  void theMapExplainsItsShades() {
    Placement placement = placement(many(100), BlockPolicy.RACKAWARE, 10);
    String map = new PlacementMap(placement, false, false).render();
    assertTrue(
        map.endsWith("  of each 10 blocks: . none  : <= 25%  + <= 50%  * <= 75%  # <= 100%\n"));
    assertTrue(map.contains("    11  ++++++++++  "));
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
        placement(locations(2, 11, 21, 1, 7, 12, 99, 1, 0), BlockPolicy.RACKAWARE, 200);
    assertEquals(2, placement.columns());
    assertEquals(1, placement.blocksPerColumn());
    assertEquals(
        Map.of(1, List.of(11, 12), 7, List.of(21), Placement.NO_RACK, List.of(99)),
        placement.racks());
    assertEquals(1, placement.share(11, 0));
    assertEquals(0, placement.share(11, 1));
    assertEquals(1, placement.share(99, 1));
    assertEquals(1, placement.total(21));
  }

  @Test
  void sortedBlocksAreHeldByTheirCounts() {
    Placement placement =
        placement(locations(2, 11, -1, 3, -1, 12, 21, 4, 1), BlockPolicy.RACKAWARE_SORT, 200);
    assertEquals(0.75, placement.share(11, 0));
    assertEquals(0.25, placement.share(21, 1));
    assertEquals(4, placement.largestTotal());
    assertTrue(placement.racks().values().stream().noneMatch(ids -> ids.contains(-1)));
  }

  @Test
  void manyBlocksShareColumns() {
    Placement placement = placement(many(10240), BlockPolicy.LOCAL, 200);
    assertEquals(52, placement.blocksPerColumn());
    assertEquals(197, placement.columns());
    assertEquals(1, placement.share(21, 196));
    assertEquals(0.5, placement.share(11, 0));
    assertEquals(5120, placement.total(12));
    assertEquals(5, placement.shade(21, 0, 5));
    assertEquals(3, placement.shade(12, 0, 5));
  }

  @Test
  void theMapHasARowForEachLocation() {
    Placement placement =
        placement(locations(2, 11, 21, 1, 7, 12, 21, 1, 7), BlockPolicy.RACKAWARE, 40);
    assertEquals(
        String.join(
            "\n",
            "rack 1",
            "    11  #.  =====              1",
            "    12  .#  =====              1",
            "rack 7",
            "    21  ##  ==========         2",
            "        # a replica",
            ""),
        new PlacementMap(placement, false, false).render());
    assertTrue(
        new PlacementMap(placement, true, true)
            .render()
            .contains("    11  \u001b[38;5;33m\u2588\u00b7\u001b[0m  \u001b[38;5;33m"));
  }

  private static Document svg(BlockLocations locations, BlockPolicy policy, String name)
      throws Exception {
    Placement placement = placement(locations, policy, 200);
    String text = new PlacementSvg(placement, locations, policy, name).render();
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
    Document svg = svg(many(3), BlockPolicy.RACKAWARE, name);
    assertEquals("svg", svg.getDocumentElement().getTagName());
    String shown = "<a href=\"x\">&amp;????";
    assertTrue(texts(svg).startsWith(shown + "|3 MiB \u00b7 3 blocks of 1 MiB \u00b7 2 replicas"));
  }

  @Test
  void thePictureNamesRacksAndLocations() throws Exception {
    String texts = texts(svg(many(10240), BlockPolicy.LOCAL, "big"));
    for (String text :
        new String[] {"rack 1|", "rack 7|", "|11|", "|12|", "|21|", "|5,120|", "|10,240|",
          "a location holds of each 52 blocks:|none|"}) {
      assertTrue(texts.contains(text), text + " in " + texts);
    }
  }

  @Test
  void allOfThePictureLiesInIt() throws Exception {
    for (int blocks : new int[] {0, 1, 8, 200, 201, 10240}) {
      Document svg = svg(many(blocks), BlockPolicy.LOCAL, "file");
      String[] box = svg.getDocumentElement().getAttribute("viewBox").split(" ");
      NodeList rects = svg.getElementsByTagName("rect");
      for (int i = 0; i < rects.getLength(); i++) {
        Element rect = (Element) rects.item(i);
        double right =
            Double.parseDouble(rect.getAttribute("x"))
                + Double.parseDouble(rect.getAttribute("width"));
        double bottom =
            Double.parseDouble(rect.getAttribute("y"))
                + Double.parseDouble(rect.getAttribute("height"));
        assertTrue(right <= Double.parseDouble(box[2]), blocks + " blocks: " + right);
        assertTrue(bottom <= Double.parseDouble(box[3]), blocks + " blocks: " + bottom);
      }
    }
  }

  @Test
  void aPictureOfManyBlocksStaysSmall() {
    Placement placement = placement(many(1_000_000), BlockPolicy.LOCAL, 200);
    String text =
        new PlacementSvg(placement, many(1_000_000), BlockPolicy.LOCAL, "huge").render();
    assertTrue(text.length() < 20_000, "it has " + text.length() + " characters");
  }
}
