package zorf.tool;

import java.io.EOFException;
import java.io.IOException;
import java.net.ConnectException;
import java.net.InetSocketAddress;
import java.net.SocketTimeoutException;
import java.util.concurrent.TimeUnit;

/** Asks a NameNode, of whatever kind, what any HDFS client may ask. */
final class NameNodeCheck {
  private static final String CLIENT = "org.apache.hadoop.hdfs.protocol.ClientProtocol";
  private static final String NAMENODE = "org.apache.hadoop.hdfs.server.protocol.NamenodeProtocol";
  private static final String[] STATES = {"initializing", "active", "standby", "observer"};
  private static final int TIMEOUT = 5000;
  private static final int SAFE_MODE_GET = 3;
  private static final int DIRECTORY = 1;
  private static final int DEFAULT_PORT = 8020;

  /** Takes a verdict, its subject and its lines, as {@link DoctorCommand} prints them. */
  interface Report {
    void say(String verdict, String subject, String... lines);
  }

  /** One of the questions. */
  private interface Question {
    String answer() throws IOException;
  }

  private final Report report;
  private boolean good = true;

  NameNodeCheck(Report report) {
    this.report = report;
  }

  /** Reads HOST[:PORT]. */
  static InetSocketAddress address(String text) {
    int colon = text.lastIndexOf(':');
    boolean port = colon >= 0 && colon > text.lastIndexOf(']');
    String host = port ? text.substring(0, colon) : text;
    String number = port ? text.substring(colon + 1) : Integer.toString(DEFAULT_PORT);
    if (host.isEmpty() || !number.matches("[0-9]{1,5}") || Integer.parseInt(number) > 65_535) {
      throw new IllegalArgumentException("'" + text + "' is no HOST[:PORT]");
    }
    return new InetSocketAddress(host.replaceAll("^\\[|\\]$", ""), Integer.parseInt(number));
  }

  /** Asks all of it; whether nothing failed. */
  boolean run(InetSocketAddress address, String user) {
    String where = address.getHostString() + ":" + address.getPort();
    if (address.isUnresolved()) {
      report.say("fail", "address", where + ": this host does not know the name");
      return false;
    }
    long start = System.nanoTime();
    try (HadoopRpc rpc = new HadoopRpc(address, user, CLIENT, TIMEOUT)) {
      long millis = TimeUnit.NANOSECONDS.toMillis(System.nanoTime() - start);
      report.say("ok", "address", where + " is connected in " + millis + " ms");
      if (state(rpc, user)) {
        ask("safe mode", () -> safeMode(rpc));
        ask("version", () -> version(rpc));
        ask("root", () -> root(rpc));
        ask("defaults", () -> defaults(rpc));
        ask("space", () -> space(rpc));
        report.say("ok", "not looked at", "the data of files, DataNodes, other users' rights");
      }
    } catch (ConnectException e) {
      fail("address", where + ": nothing listens there",
          "-> is the service up? It listens at 127.0.0.1 unless --bind names another address");
    } catch (IOException e) {
      fail("address", where + ": " + reason(e));
    }
    return good;
  }

  /** The first call shows what speaks there, so all depends on it. */
  private boolean state(HadoopRpc rpc, String user) {
    try {
      Protobuf.Message answer = rpc.call(CLIENT, "getHAServiceState", new byte[0]);
      report.say("ok", "protocol", "Hadoop RPC 9, SIMPLE authentication, asked as " + user);
      int state = (int) answer.number(1, 0);
      String text = state >= 0 && state < STATES.length ? STATES[state] : "unknown: " + state;
      if (text.equals("active")) {
        report.say("ok", "state", text);
      } else {
        fail("state", text, "-> clients are served by an active NameNode only");
      }
      return true;
    } catch (HadoopRpc.Refused e) {
      fail("protocol", "Hadoop RPC, but it does not serve this caller: " + e.getMessage());
    } catch (IOException e) {
      fail("protocol", reason(e), "-> is that the port of fs.defaultFS, and not the one of a page?");
    }
    return false;
  }

  private static String reason(IOException e) {
    if (e instanceof SocketTimeoutException) {
      return "no answer within " + TIMEOUT / 1000 + " s";
    }
    if (e instanceof EOFException) {
      return "it ends the connection instead of answering";
    }
    return Failure.reason(e);
  }

  private void ask(String subject, Question question) {
    try {
      report.say("ok", subject, question.answer());
    } catch (HadoopRpc.Refused e) {
      report.say("warn", subject, "not answered: " + e.getMessage());
    } catch (IOException e) {
      fail(subject, reason(e));
    }
  }

  private void fail(String subject, String... lines) {
    report.say("fail", subject, lines);
    good = false;
  }

  private static String safeMode(HadoopRpc rpc) throws IOException {
    byte[] get = new Protobuf.Maker().number(1, SAFE_MODE_GET).number(2, 0).made();
    return rpc.call(CLIENT, "setSafeMode", get).number(1, 0) == 0
        ? "off"
        : "on: nothing can be changed";
  }

  private static String version(HadoopRpc rpc) throws IOException {
    Protobuf.Message info = rpc.call(NAMENODE, "versionRequest", new byte[0]).message(1);
    return info == null
        ? "none"
        : info.text(5, "none") + " (" + info.text(1, "no build") + "), block pool "
            + info.text(3, "none");
  }

  private static String root(HadoopRpc rpc) throws IOException {
    byte[] root = new Protobuf.Maker().text(1, "/").made();
    Protobuf.Message status = rpc.call(CLIENT, "getFileInfo", root).message(1);
    if (status == null || status.number(1, 0) != DIRECTORY) {
      throw new IOException("/ is no directory");
    }
    Protobuf.Message permission = status.message(4);
    return String.format(
        "mode %04o, of %s:%s",
        permission == null ? 0 : permission.number(1, 0), status.text(5, ""), status.text(6, ""));
  }

  private static String defaults(HadoopRpc rpc) throws IOException {
    Protobuf.Message defaults = rpc.call(CLIENT, "getServerDefaults", new byte[0]).message(1);
    return defaults == null
        ? "none"
        : "blocks of " + Sizes.human(defaults.number(1, 0)) + ", "
            + Sizes.count(defaults.number(4, 0), "replica");
  }

  private static String space(HadoopRpc rpc) throws IOException {
    Protobuf.Message stats = rpc.call(CLIENT, "getFsStats", new byte[0]);
    return Sizes.human(stats.number(1, 0)) + ", of which " + Sizes.human(stats.number(3, 0))
        + " are free";
  }
}
