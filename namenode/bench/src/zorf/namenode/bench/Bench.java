package zorf.namenode.bench;

import java.io.IOException;
import java.io.OutputStream;
import java.io.PrintStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Locale;
import java.util.Properties;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.hdfs.HdfsConfiguration;
import org.apache.hadoop.hdfs.protocol.ClientProtocol;

/**
 * Measures one NameNode, which it starts; this virtual machine is its clients'. All figures go to a file
 * of properties.
 */
public final class Bench {
  private static final String SUPERUSER = System.getProperty("user.name");
  private static final List<String> USERS =
      List.of(
          "bob", "bruce", "diana", "user", "fakeUser", "theDoctor", "rose", "myuser", "otherUser",
          "user1", "user2", "user3", "smokeUser", "charlie", "hadoop", "foo");

  /** A question of clients, of how many, and as how many users. */
  record Row(String name, Client.Question question, int clients, int users) {
    String key() {
      return name + "." + clients + "." + users;
    }
  }

  static final List<Row> ROWS =
      List.of(
          new Row("getFileInfo", Client::fileInfo, 1, 1),
          new Row("getFileInfo", Client::fileInfo, 8, 1),
          new Row("getFileInfo", Client::fileInfo, 32, 16),
          new Row("getBlockLocations", Client::locations, 8, 1),
          new Row("getListing of 1,000", Client::listing, 1, 1),
          new Row("getListing of 1,000", Client::listing, 8, 1),
          new Row("mix", Client::mix, 1, 1),
          new Row("mix", Client::mix, 1, 16),
          new Row("mix", Client::mix, 8, 1),
          new Row("mix", Client::mix, 8, 16),
          new Row("mix", Client::mix, 32, 1),
          new Row("mix", Client::mix, 32, 16));

  static final Row HALF = new Row("half", Client::mix, 32, 16);

  /** About what NameNodes reach, so that each takes as long as asking does. */
  private static final int OPERATIONS_PER_SECOND = 3000;

  private final boolean zorf;
  private final double seconds;
  private final int directories;
  private final Path root;
  private final Service service;
  private final Configuration configuration = new HdfsConfiguration();
  private final ClientProtocol superuser;
  private final Properties figures = new Properties();
  private final PrintStream progress = System.err;

  private Bench(boolean zorf, Path scratch, double seconds, int directories) throws Exception {
    this.zorf = zorf;
    this.seconds = seconds;
    this.directories = directories;
    root = scratch; // a mount, as it should be
    configuration.set("hadoop.tmp.dir", scratch.resolve("clients").toString());
    service = zorf ? Service.zorf(root) : Service.apache(scratch.resolve("apache"));
    superuser = Client.connect(configuration, service.uri(), SUPERUSER);
  }

  /**
   * Measures a NameNode.
   *
   * @param arguments "apache" or "zorf", a scratch directory, the file for the figures, for how many
   *     seconds clients ask, and how many thousand files there are
   */
  public static void main(String... arguments) throws Exception {
    int status = 1;
    try {
      Bench bench =
          new Bench(
              arguments[0].equals("zorf"),
              Path.of(arguments[1]),
              Double.parseDouble(arguments[3]),
              Integer.parseInt(arguments[4]));
      try (Service measured = bench.service) {
        bench.measure();
      } finally {
        bench.store(Path.of(arguments[2]));
      }
      status = 0;
    } catch (Exception e) {
      e.printStackTrace();
    }
    System.exit(status); // connections have threads
  }

  private void store(Path file) throws IOException {
    try (OutputStream out = Files.newOutputStream(file)) {
      figures.store(out, null);
    }
  }

  private void measure() throws Exception {
    memory("start");
    homes();
    tree().make(Client.TREE, Client.DIRECTORIES, Client.FILES);
    loads();
    throughput();
    large();
  }

  private void put(String key, double value) {
    figures.setProperty(key, String.format(Locale.ROOT, "%.4f", value));
    progress.printf(Locale.ROOT, "%-40s %,14.3f%n", key, value);
  }

  private Tree tree() {
    return zorf ? Tree.of(root) : Tree.of(superuser);
  }

  private void homes() throws Exception {
    Tree.of(superuser).directory(Client.HOMES);
    for (String user : USERS) {
      Tree.of(superuser).directory(Client.HOMES + "/" + user);
      superuser.setOwner(Client.HOMES + "/" + user, user, null);
    }
  }

  private void loads() throws Exception {
    warmUp();
    double reached = 0;
    for (Row row : ROWS) {
      reached = load(row, 0).perSecond(); // of the last one
    }
    load(HALF, reached / 2);
  }

  /** Each question for itself: what is compiled of a virtual machine depends on how often it is asked. */
  private void warmUp() throws Exception {
    List<Client.Question> questions =
        List.of(Client::mix, Client::fileInfo, Client::locations, Client::listing);
    for (Client.Question question : questions) {
      Load.run(service, clients(8, 16), question, 0, 0, Math.max(5, 2 * seconds));
    }
  }

  private Load.Result load(Row row, double perSecond) throws Exception {
    List<Client> clients = clients(row.clients(), row.users());
    Load.Result result = Load.run(service, clients, row.question(), perSecond, 0.5, seconds);
    put(row.key() + ".rate", result.perSecond());
    put(row.key() + ".p50", result.p50());
    put(row.key() + ".p99", result.p99());
    put(row.key() + ".p999", result.p999());
    put(row.key() + ".cpu", result.cpu());
    put(row.key() + ".rss", result.resident());
    return result;
  }

  /** Clients that share the users evenly; where there are fewer clients, each is several users in turn. */
  private List<Client> clients(int clients, int users) throws Exception {
    List<Client> all = new ArrayList<>();
    for (int c = 0; c < clients; c++) {
      List<String> own = new ArrayList<>();
      for (int u = c % users; u < users; u += clients) {
        own.add(USERS.get(u));
      }
      all.add(new Client(configuration, service.uri(), own));
    }
    return all;
  }

  private void throughput() throws Exception {
    Throughput benchmark = new Throughput(configuration, service.uri());
    int count = (int) (OPERATIONS_PER_SECOND * seconds);
    for (String operation : Throughput.OPERATIONS) {
      benchmark.of(operation, count / 4); // to warm up
      put("throughput." + operation, benchmark.of(operation, count));
    }
  }

  private void large() throws Exception {
    int files = 1000 * directories;
    put("files", files);
    ClientProtocol user = Client.connect(configuration, service.uri(), USERS.get(0));
    memory("before");
    long start = System.nanoTime();
    tree().make("/tree", directories, 1000);
    put("made", (System.nanoTime() - start) / 1e9);
    memory("tree");
    put("count", Large.count(user, "/tree", files));
    List<ClientProtocol> four = new ArrayList<>();
    for (String name : USERS.subList(0, 4)) {
      four.add(Client.connect(configuration, service.uri(), name));
    }
    put("lsr.1", Large.listAll(four.subList(0, 1), "/tree", files));
    put("lsr.4", Large.listAll(four, "/tree", files));
    tree().makeFlat("/flat", files);
    Large.pages(user, "/flat", files); // to warm up
    double[] pages = Large.pages(user, "/flat", files);
    put("flat.first", pages[0]);
    put("flat.all", Arrays.stream(pages).sum());
    memory("flat");
    if (zorf) {
      put("find.tree", Large.find(root.resolve("tree")));
      put("find.flat", Large.find(root.resolve("flat")));
    }
  }

  private void memory(String when) throws Exception {
    put("heap." + when, service.liveHeapMiB());
    put("rss." + when, service.residentMiB());
  }
}
