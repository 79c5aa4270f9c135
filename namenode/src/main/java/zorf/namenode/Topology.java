package zorf.namenode;

import java.io.IOException;
import java.net.InetAddress;
import java.net.InetSocketAddress;
import java.net.Socket;
import java.net.UnknownHostException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Collection;
import java.util.HashMap;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.UUID;
import java.util.concurrent.ConcurrentHashMap;
import java.util.concurrent.atomic.AtomicLong;
import org.apache.hadoop.fs.StorageType;
import org.apache.hadoop.hdfs.protocol.DatanodeInfo;
import org.apache.hadoop.hdfs.protocol.DatanodeInfo.DatanodeInfoBuilder;
import org.apache.hadoop.hdfs.protocol.DatanodeInfoWithStorage;
import org.slf4j.Logger;
import org.slf4j.LoggerFactory;

/**
 * Which host, in which rack, serves what lies at a location. Read from a file with lines such as
 *
 * <pre>11 node11.example:9866 /rack1</pre>
 */
final class Topology {
  private static final Logger LOG = LoggerFactory.getLogger(Topology.class);
  private static final int DEFAULT_PORT = 9866;

  /** For a host of the same network. */
  private static final int CONNECT_MILLIS = 500;

  private final Map<Integer, DatanodeInfoWithStorage> byLocation = new LinkedHashMap<>();
  private final Map<String, DatanodeInfoWithStorage> byUuid = new LinkedHashMap<>();
  private final Map<String, String> racks = new HashMap<>();
  private final Set<Integer> unmapped = ConcurrentHashMap.newKeySet();
  private final AtomicLong leftOut = new AtomicLong();

  private Topology() {}

  /** One without hosts. */
  static Topology none() {
    return new Topology();
  }

  /**
   * Reads a file.
   *
   * @throws BadFile if a line is wrong
   */
  static Topology read(Path file) throws IOException {
    Topology topology = new Topology();
    int number = 0;
    for (String line : Files.readAllLines(file, StandardCharsets.UTF_8)) {
      number++;
      String statement = line.replaceFirst("#.*", "").trim();
      if (!statement.isEmpty()) {
        topology.add(file, number, statement.split("\\s+"));
      }
    }
    if (topology.byLocation.isEmpty()) {
      throw new BadFile(file, "there is no location");
    }
    return topology;
  }

  private void add(Path file, int line, String[] words) throws BadFile {
    if (words.length != 3
        || !words[0].matches("[0-9]{1,9}")
        || !words[1].matches("[^:/]+(:[0-9]{1,5})?")
        || !words[2].matches("(/[^/]+)+|[^/]+")) {
      throw new BadFile(file, line, "a line reads 'IDENTIFIER HOST[:PORT] RACK'");
    }
    int location = Integer.parseInt(words[0]);
    int colon = words[1].indexOf(':');
    String host = colon < 0 ? words[1] : words[1].substring(0, colon);
    int port = colon < 0 ? DEFAULT_PORT : Integer.parseInt(words[1].substring(colon + 1));
    if (port == 0 || port > 65_535) {
      throw new BadFile(file, line, "not a port: " + port);
    }
    if (byLocation.containsKey(location)) {
      throw new BadFile(file, line, "location " + location + " is given twice");
    }
    String rack = words[2].startsWith("/") ? words[2] : "/" + words[2];
    String name = host + ":" + port;
    String uuid = UUID.nameUUIDFromBytes(name.getBytes(StandardCharsets.UTF_8)).toString();
    DatanodeInfoWithStorage node = byUuid.get(uuid);
    if (node == null) {
      node = node(host, port, rack, uuid);
      byUuid.put(uuid, node);
      racks.put(node.getIpAddr(), rack);
    } else if (!node.getNetworkLocation().equals(rack)) {
      throw new BadFile(file, line, host + " is in " + node.getNetworkLocation() + " above");
    }
    byLocation.put(location, node);
  }

  private static DatanodeInfoWithStorage node(String host, int port, String rack, String uuid) {
    DatanodeInfo info =
        new DatanodeInfoBuilder()
            .setIpAddr(address(host))
            .setHostName(host)
            .setDatanodeUuid(uuid)
            .setXferPort(port)
            .setNetworkLocation(rack)
            .build();
    return new DatanodeInfoWithStorage(info, "DS-" + uuid, StorageType.DISK);
  }

  /** A host that has no address now may have one when a client asks. */
  private static String address(String host) {
    try {
      return InetAddress.getByName(host).getHostAddress();
    } catch (UnknownHostException e) {
      LOG.warn("the topology's host {} has no address", host);
      return host;
    }
  }

  /** {@return the hosts of some locations, each once; those that the file does not name are left out} */
  List<DatanodeInfoWithStorage> hosts(int[] locations) {
    List<DatanodeInfoWithStorage> hosts = new ArrayList<>(locations.length);
    for (int location : locations) {
      DatanodeInfoWithStorage host = byLocation.get(location);
      if (host != null) {
        if (!hosts.contains(host)) {
          hosts.add(host);
        }
      } else if (location >= 0) {
        leftOut.incrementAndGet();
        if (unmapped.add(location)) {
          LOG.warn("the topology names no host for location {}", location);
        }
      }
    }
    return hosts;
  }

  /** {@return all hosts} */
  Collection<DatanodeInfoWithStorage> hosts() {
    return byUuid.values();
  }

  /** {@return whether a DataNode is there} */
  static boolean listens(DatanodeInfo host) {
    try (Socket socket = new Socket()) {
      socket.connect(
          new InetSocketAddress(host.getIpAddr(), host.getXferPort()), CONNECT_MILLIS);
      return true;
    } catch (IOException e) {
      return false;
    }
  }

  /** {@return the rack of a host, null if the file does not name it} */
  String rackOf(String address) {
    return racks.get(address);
  }

  /** {@return how often a location was left out because it has no host} */
  long leftOut() {
    return leftOut.get();
  }
}
