package zorf.tool;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;

import java.io.DataInputStream;
import java.io.DataOutputStream;
import java.io.IOException;
import java.net.InetAddress;
import java.net.InetSocketAddress;
import java.net.ServerSocket;
import java.net.Socket;
import java.nio.ByteBuffer;
import java.nio.charset.StandardCharsets;
import java.util.HashMap;
import java.util.Map;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

/** What the doctor finds at the address of a NameNode, played by a server of the tests. */
class NameNodeCheckTest {
  private final StringBuilder said = new StringBuilder();
  /** Answers by the names of methods; others are refused. */
  private final Map<String, byte[]> answers = new HashMap<>();
  private ServerSocket server;
  private Thread serving;
  private String greeting = "";

  @BeforeEach
  void listen() throws Exception {
    server = new ServerSocket(0, 1, InetAddress.getLoopbackAddress());
    serving = new Thread(this::serve);
    serving.setDaemon(true);
    serving.start();
    answers.put("getHAServiceState", new Protobuf.Maker().number(1, 1).made());
    answers.put("setSafeMode", new Protobuf.Maker().number(1, 0).made());
    answers.put(
        "versionRequest",
        made(new Protobuf.Maker().text(1, "on zorf").text(3, "BP-zorf-1").text(5, "3.4.3")));
    answers.put(
        "getFileInfo",
        made(
            new Protobuf.Maker()
                .number(1, 1)
                .bytes(4, new Protobuf.Maker().number(1, 01755).made())
                .text(5, "hdfs")
                .text(6, "staff")));
    answers.put("getServerDefaults", made(new Protobuf.Maker().number(1, 128 << 20).number(4, 3)));
    answers.put("getFsStats", new Protobuf.Maker().number(1, 5L << 40).number(3, 1L << 40).made());
  }

  @AfterEach
  void close() throws Exception {
    server.close();
  }

  private static byte[] made(Protobuf.Maker inner) {
    return new Protobuf.Maker().bytes(1, inner.made()).made();
  }

  private void serve() {
    try (Socket socket = server.accept()) {
      DataInputStream in = new DataInputStream(socket.getInputStream());
      DataOutputStream out = new DataOutputStream(socket.getOutputStream());
      byte[] start = new byte[7];
      in.readFully(start);
      assertEquals("hrpc\t\0\0", new String(start, StandardCharsets.ISO_8859_1));
      Protobuf.Message context = second(frame(in));
      assertEquals("org.apache.hadoop.hdfs.protocol.ClientProtocol", context.text(3, ""));
      assertEquals("alice", context.message(2).text(1, ""));
      while (true) {
        String method = second(frame(in)).text(1, "");
        if (!greeting.isEmpty()) {
          out.writeBytes(greeting);
          return;
        }
        byte[] answer = answers.get(method);
        Protobuf.Maker header = new Protobuf.Maker().number(1, 0);
        Protobuf.Maker reply = new Protobuf.Maker();
        if (answer == null) {
          header.number(2, 1).text(4, "java.lang.Unsupported").text(5, method + " is not known\nat");
          reply.delimited(header.made());
        } else {
          reply.delimited(header.number(2, 0).made()).delimited(answer);
        }
        out.writeInt(reply.made().length);
        out.write(reply.made());
      }
    } catch (IOException e) {
      // The other side has heard enough.
    }
  }

  private static ByteBuffer frame(DataInputStream in) throws IOException {
    byte[] bytes = new byte[in.readInt()];
    in.readFully(bytes);
    return ByteBuffer.wrap(bytes);
  }

  private static Protobuf.Message second(ByteBuffer frame) throws IOException {
    Protobuf.delimited(frame);
    return new Protobuf.Message(Protobuf.delimited(frame));
  }

  /** All that is said, without times, and the verdict. */
  private String check() {
    boolean good =
        new NameNodeCheck(
                (verdict, subject, lines) ->
                    said.append(verdict + " " + subject + ": " + String.join(" ", lines) + "\n"))
            .run(new InetSocketAddress("127.0.0.1", server.getLocalPort()), "alice");
    return said.toString().replaceAll("in [0-9]+ ms", "in N ms").replace(
            ":" + server.getLocalPort(), ":PORT")
        + good;
  }

  private static final String FIRST = "ok address: 127.0.0.1:PORT is connected in N ms\n";
  private static final String PROTOCOL =
      "ok protocol: Hadoop RPC 9, SIMPLE authentication, asked as alice\n";

  @Test
  void aNameNodeIsAskedWhatAnyClientMayAsk() {
    assertEquals(
        FIRST
            + PROTOCOL
            + "ok state: active\n"
            + "ok safe mode: off\n"
            + "ok version: 3.4.3 (on zorf), block pool BP-zorf-1\n"
            + "ok root: mode 1755, of hdfs:staff\n"
            + "ok defaults: blocks of 128 MiB, 3 replicas\n"
            + "ok space: 5 TiB, of which 1 TiB are free\n"
            + "ok not looked at: the data of files, DataNodes, other users' rights\n"
            + "true",
        check());
  }

  @Test
  void whatIsNotAnsweredIsAWarning() {
    answers.remove("versionRequest");
    answers.put("setSafeMode", new Protobuf.Maker().number(1, 1).made());
    String found = check();
    ToolFixture.contains(found, "warn version: not answered: versionRequest is not known\n");
    ToolFixture.contains(found, "ok safe mode: on: nothing can be changed\n");
    ToolFixture.contains(found, "\ntrue");
  }

  @Test
  void aStandbyFails() {
    answers.put("getHAServiceState", new Protobuf.Maker().number(1, 2).made());
    ToolFixture.contains(
        check(), "fail state: standby -> clients are served by an active NameNode only\n");
    ToolFixture.contains(said + "", "ok root");
  }

  @Test
  void aCallerWhoIsNotServedIsToldWhy() {
    answers.remove("getHAServiceState");
    assertEquals(
        FIRST
            + "fail protocol: Hadoop RPC, but it does not serve this caller:"
            + " getHAServiceState is not known\n"
            + "false",
        check());
  }

  @Test
  void whatIsNoNameNodeIsToldApart() {
    greeting = "HTTP/1.1 400 Bad Request\r\n";
    assertEquals(
        FIRST
            + "fail protocol: what answers is not Hadoop's RPC: it begins with \"HTTP\""
            + " -> is that the port of fs.defaultFS, and not the one of a page?\n"
            + "false",
        check());
  }

  @Test
  void aDamagedAnswerIsNoHadoop() {
    answers.put("getHAServiceState", new byte[] {8});
    ToolFixture.contains(check(), "fail protocol: it ends the connection instead of answering");
  }

  @Test
  void whereNothingListensThatIsSaid() throws Exception {
    int port = server.getLocalPort();
    server.close();
    serving.join(); // until then its call to accept listens on
    assertEquals(
        "fail address: 127.0.0.1:PORT: nothing listens there"
            + " -> is the service up? It listens at 127.0.0.1 unless --bind names another address\n"
            + "false",
        check().replace(":" + port, ":PORT"));
  }

  @Test
  void addressesAreHostsWithOrWithoutPorts() {
    assertEquals(8020, NameNodeCheck.address("localhost").getPort());
    assertEquals(9000, NameNodeCheck.address("localhost:9000").getPort());
    assertEquals(
        new InetSocketAddress("::1", 9000), NameNodeCheck.address("[::1]:9000"));
    assertEquals(8020, NameNodeCheck.address("[::1]").getPort());
    for (String wrong : new String[] {"", ":80", "host:", "host:x", "host:70000"}) {
      assertEquals(
          "'" + wrong + "' is no HOST[:PORT]",
          assertThrows(IllegalArgumentException.class, () -> NameNodeCheck.address(wrong))
              .getMessage());
    }
  }
}
