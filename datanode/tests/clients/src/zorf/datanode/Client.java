package zorf.datanode;

import java.io.File;
import java.io.IOException;
import java.io.InputStream;
import java.io.OutputStream;
import java.net.InetSocketAddress;
import java.nio.file.Files;
import java.nio.file.Paths;
import java.util.EnumSet;
import java.util.zip.CRC32C;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.CreateFlag;
import org.apache.hadoop.hdfs.DFSClient;

/**
 * Apache's client on one DataNode, with {@link MiniNameNode} in its own process.
 *
 * <p>Client ROOT KEYS USER ADDRESS:PORT BLOCKSIZE [NAME=VALUE...] COMMAND..., where a command is
 * "put LOCAL PATH", "append LOCAL PATH", "get PATH LOCAL", "getUnverified PATH LOCAL" (which asks for no
 * checksums), "checksum PATH" or "crc LOCAL", which is Java's own.
 */
public final class Client {
  private Client() {}

  public static void main(String[] arguments) throws IOException {
    String[] address = arguments[3].split(":");
    MiniNameNode namenode =
        new MiniNameNode(
            new File(arguments[0]),
            arguments[2],
            new Tokens(new File(arguments[1])),
            Long.parseLong(arguments[4]),
            new InetSocketAddress(address[0], Integer.parseInt(address[1])));
    Configuration conf = new Configuration();
    conf.setLong("dfs.blocksize", Long.parseLong(arguments[4]));
    conf.setInt("dfs.replication", MiniNameNode.REPLICAS);
    int at = 5;
    for (; arguments[at].contains("="); ++at) {
      String[] setting = arguments[at].split("=", 2);
      conf.set(setting[0], setting[1]);
    }
    try (DFSClient client =
        new DFSClient(null, namenode.protocol(), conf, null)) {
      for (; at < arguments.length; at += arguments[at].matches("checksum|crc") ? 2 : 3) {
        run(client, arguments, at);
      }
    }
  }

  private static void run(DFSClient client, String[] arguments, int at) throws IOException {
    String first = arguments[at + 1];
    switch (arguments[at]) {
      case "put":
        try (OutputStream out = client.create(arguments[at + 2], true)) {
          Files.copy(Paths.get(first), out);
        }
        break;
      case "append":
        try (OutputStream out =
            client.append(arguments[at + 2], 4096, EnumSet.of(CreateFlag.APPEND), null, null)) {
          Files.copy(Paths.get(first), out);
        }
        break;
      case "get":
      case "getUnverified":
        try (InputStream in = client.open(first, 4096, arguments[at].equals("get"));
            OutputStream out = Files.newOutputStream(Paths.get(arguments[at + 2]))) {
          in.transferTo(out);
        }
        break;
      case "checksum":
        System.out.println(client.getFileChecksumWithCombineMode(first, Long.MAX_VALUE));
        break;
      case "crc":
        CRC32C crc = new CRC32C();
        crc.update(Files.readAllBytes(Paths.get(first)));
        System.out.printf("COMPOSITE-CRC32C:0x%08x%n", crc.getValue());
        break;
      default:
        throw new IllegalArgumentException(arguments[at]);
    }
  }
}
