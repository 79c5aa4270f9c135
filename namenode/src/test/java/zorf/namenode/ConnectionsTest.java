package zorf.namenode;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.DataOutputStream;
import java.io.IOException;
import java.io.OutputStream;
import java.net.InetSocketAddress;
import java.net.Socket;
import java.nio.channels.SocketChannel;
import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.List;
import java.util.Random;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.Path;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.Timeout;

/** What else may come in by the port; whoever comes with good calls is served. */
@Timeout(120)
class ConnectionsTest {
  private static final byte[] HEADER = {'h', 'r', 'p', 'c', 9, 0, 0};

  private Served served;
  private FileSystem good;

  @BeforeEach
  void serve() throws Exception {
    served = Served.start();
    good = served.as("daemon");
    check();
  }

  @AfterEach
  void close() throws Exception {
    served.close();
  }

  private void check() throws Exception {
    long start = System.nanoTime();
    assertEquals(0, good.listStatus(new Path("/")).length);
    long millis = (System.nanoTime() - start) / 1_000_000;
    assertTrue(millis < 5000, millis + " ms");
  }

  private Socket connect() throws IOException {
    Socket socket = new Socket();
    socket.connect(new InetSocketAddress("127.0.0.1", served.uri().getPort()));
    socket.setSoTimeout(30_000);
    return socket;
  }

  /** Sends bytes and waits until the service closes the connection. */
  private void sendAndBeClosed(byte[] bytes) throws Exception {
    try (Socket socket = connect()) {
      try {
        socket.getOutputStream().write(bytes);
        while (socket.getInputStream().read() >= 0) {
          // Whatever it has to say.
        }
      } catch (java.net.SocketTimeoutException e) {
        throw new AssertionError("it is not closed", e);
      } catch (IOException e) {
        // Closed with bytes unread.
      }
    }
    check();
  }

  @Test
  void garbageIsClosed() throws Exception {
    Random random = new Random(7);
    for (int i = 0; i < 50; i++) {
      byte[] bytes = new byte[1 + random.nextInt(4000)];
      random.nextBytes(bytes);
      bytes[0] = 'x';
      sendAndBeClosed(bytes.length < 7 ? new byte[7] : bytes);
    }
    sendAndBeClosed("GET / HTTP/1.1\r\nHost: a\r\n\r\n".getBytes(StandardCharsets.US_ASCII));
  }

  @Test
  void garbageInFramesIsClosed() throws Exception {
    Random random = new Random(8);
    for (int i = 0; i < 50; i++) {
      byte[] body = new byte[random.nextInt(2000)];
      random.nextBytes(body);
      sendAndBeClosed(frame(body.length, body));
    }
  }

  @Test
  void aFrameOf129MebibytesIsClosed() throws Exception {
    sendAndBeClosed(frame(129 << 20, new byte[1000]));
    sendAndBeClosed(frame(-1, new byte[0]));
    sendAndBeClosed(frame(Integer.MAX_VALUE, new byte[10]));
  }

  private static byte[] frame(int length, byte[] body) throws IOException {
    java.io.ByteArrayOutputStream bytes = new java.io.ByteArrayOutputStream();
    DataOutputStream out = new DataOutputStream(bytes);
    out.write(HEADER);
    out.writeInt(length);
    out.write(body);
    return bytes.toByteArray();
  }

  @Test
  void halfFramesHoldUpNobody() throws Exception {
    List<Socket> sockets = new ArrayList<>();
    try {
      for (int i = 0; i < 200; i++) {
        Socket socket = connect();
        sockets.add(socket);
        OutputStream out = socket.getOutputStream();
        out.write(frame(1000, new byte[i]));
      }
      check();
    } finally {
      for (Socket socket : sockets) {
        socket.close();
      }
    }
    check();
  }

  @Test
  void fiveThousandIdleConnectionsHoldUpNobody() throws Exception {
    List<SocketChannel> idle = new ArrayList<>();
    InetSocketAddress address = new InetSocketAddress("127.0.0.1", served.uri().getPort());
    try {
      for (int i = 0; i < 5000; i++) {
        idle.add(SocketChannel.open(address));
      }
      check();
      assertEquals(0, served.as("bin").listStatus(new Path("/")).length);
    } finally {
      for (SocketChannel channel : idle) {
        channel.close();
      }
    }
    check();
  }
}
