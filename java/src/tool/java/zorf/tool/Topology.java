package zorf.tool;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Collections;
import java.util.HashMap;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;

/**
 * Which location stands in which rack, read from a file with lines such as
 *
 * <pre>rack 1: 100 101 102</pre>
 *
 * It is the stand-in client library's file; what else that may hold ("block-size", "replicas")
 * means nothing here. A "#" starts a comment.
 */
final class Topology {
  private final Map<Integer, List<Integer>> racks = new LinkedHashMap<>();
  private final Map<Integer, Integer> rackOf = new HashMap<>();

  /** A topology without racks. */
  static Topology unknown() {
    return new Topology();
  }

  static Topology read(Path file) throws IOException {
    String text = new String(Files.readAllBytes(file), StandardCharsets.UTF_8);
    return parse(file.toString(), text);
  }

  /** Reads a file's text; a mistake is a {@link Failure} that names the line. */
  static Topology parse(String name, String text) {
    Topology topology = new Topology();
    String[] lines = text.split("\n", -1);
    for (int i = 0; i < lines.length; i++) {
      String statement = lines[i].replaceFirst("#.*", "").trim();
      if (statement.isEmpty() || statement.matches("(block-size|replicas)\\s.*")) {
        continue;
      }
      if (!statement.matches("rack\\s+[0-9]{1,9}:(\\s+[0-9]{1,9})+")) {
        throw new Failure(name + ":" + (i + 1) + ": a rack reads 'rack NUMBER: LOCATION...'");
      }
      String[] words = statement.split("\\s+");
      int rack = Integer.parseInt(words[1].substring(0, words[1].length() - 1));
      List<Integer> members = new ArrayList<>();
      for (int word = 2; word < words.length; word++) {
        int location = Integer.parseInt(words[word]);
        if (topology.rackOf.put(location, rack) != null) {
          throw new Failure(name + ":" + (i + 1) + ": location " + location + " is given twice");
        }
        members.add(location);
      }
      if (topology.racks.put(rack, Collections.unmodifiableList(members)) != null) {
        throw new Failure(name + ":" + (i + 1) + ": rack " + rack + " is given twice");
      }
    }
    if (topology.racks.isEmpty()) {
      throw new Failure(name + ": there is no rack");
    }
    return topology;
  }

  /** The rack of a location, {@link Placement#NO_RACK} if no rack names it. */
  int rackOf(int location) {
    return rackOf.getOrDefault(location, Placement.NO_RACK);
  }

  /** The locations of each rack, in the order of the file. */
  Map<Integer, List<Integer>> racks() {
    return Collections.unmodifiableMap(racks);
  }
}
