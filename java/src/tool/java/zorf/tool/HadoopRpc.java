package zorf.tool;

import java.io.Closeable;
import java.io.DataInputStream;
import java.io.DataOutputStream;
import java.io.IOException;
import java.net.InetSocketAddress;
import java.net.Socket;
import java.nio.ByteBuffer;
import java.nio.charset.StandardCharsets;
import java.util.UUID;

/**
 * A connection that speaks Hadoop's RPC, version 9, with SIMPLE authentication: the caller is
 * believed to be the user that it says it is. One call after the other.
 */
final class HadoopRpc implements Closeable {
  private static final int VERSION = 9;
  private static final int PROTOBUF = 2;
  private static final int CONTEXT_CALL = -3;
  private static final int MAX_ANSWER = 1 << 24;
  private static final int SUCCESS = 0;

  /** An answer that says why there is none. */
  static final class Refused extends IOException {
    private static final long serialVersionUID = 1L;

    Refused(String exceptionClass, String message) {
      super(firstLine(message.isEmpty() ? exceptionClass : message));
    }

    private static String firstLine(String text) {
      int end = text.indexOf('\n');
      return end < 0 ? text : text.substring(0, end);
    }
  }

  private final Socket socket = new Socket();
  private final byte[] client = new byte[16];
  private final DataInputStream in;
  private final DataOutputStream out;
  private int calls;

  /**
   * Connects, and says who calls.
   *
   * @param timeout for the connection and for each answer, in milliseconds
   */
  HadoopRpc(InetSocketAddress address, String user, String protocol, int timeout)
      throws IOException {
    UUID id = UUID.randomUUID();
    ByteBuffer.wrap(client)
        .putLong(id.getMostSignificantBits())
        .putLong(id.getLeastSignificantBits());
    try {
      socket.connect(address, timeout);
      socket.setSoTimeout(timeout);
      in = new DataInputStream(socket.getInputStream());
      out = new DataOutputStream(socket.getOutputStream());
      out.write("hrpc".getBytes(StandardCharsets.US_ASCII));
      out.write(new byte[] {VERSION, 0, 0}); // no service class, no SASL
      send(
          header(CONTEXT_CALL),
          new Protobuf.Maker()
              .bytes(2, new Protobuf.Maker().text(1, user).made())
              .text(3, protocol)
              .made());
    } catch (IOException e) {
      socket.close();
      throw e;
    }
  }

  private byte[] header(int call) {
    return new Protobuf.Maker()
        .number(1, PROTOBUF)
        .number(2, 0)
        .signed(3, call)
        .bytes(4, client)
        .signed(5, -1)
        .made();
  }

  private void send(byte[]... messages) throws IOException {
    Protobuf.Maker frame = new Protobuf.Maker();
    for (byte[] message : messages) {
      frame.delimited(message);
    }
    byte[] bytes = frame.made();
    out.writeInt(bytes.length);
    out.write(bytes);
    out.flush();
  }

  /**
   * Calls a method.
   *
   * @throws Refused if the server says why it does not answer
   * @throws IOException if what comes back is not Hadoop's RPC, or nothing does
   */
  Protobuf.Message call(String protocol, String method, byte[] request) throws IOException {
    send(
        header(calls++),
        new Protobuf.Maker().text(1, method).text(2, protocol).number(3, 1).made(),
        request);
    int length = in.readInt();
    if (length < 0 || length > MAX_ANSWER) {
      byte[] start = ByteBuffer.allocate(Integer.BYTES).putInt(length).array();
      throw new IOException(
          "what answers is not Hadoop's RPC: it begins with \""
              + Output.printable(new String(start, StandardCharsets.ISO_8859_1))
              + "\"");
    }
    byte[] bytes = new byte[length];
    in.readFully(bytes);
    ByteBuffer frame = ByteBuffer.wrap(bytes);
    Protobuf.Message header = new Protobuf.Message(Protobuf.delimited(frame));
    if (header.number(2, SUCCESS) != SUCCESS) {
      throw new Refused(header.text(4, "an unknown failure"), header.text(5, ""));
    }
    return new Protobuf.Message(Protobuf.delimited(frame));
  }

  @Override
  public void close() throws IOException {
    socket.close();
  }
}
