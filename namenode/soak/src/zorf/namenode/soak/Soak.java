package zorf.namenode.soak;

import java.io.IOException;
import java.net.ServerSocket;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.ArrayList;
import java.util.HexFormat;
import java.util.List;
import java.util.concurrent.BlockingQueue;
import java.util.concurrent.LinkedBlockingQueue;
import java.util.concurrent.ThreadLocalRandom;
import java.util.concurrent.TimeUnit;

/**
 * Has 32 users ask the service for a while, and breaks what can break: it kills clients and the service,
 * and takes the name service away. In the first third of the time the service is started again and again;
 * from then on it lives, and must not grow.
 */
public final class Soak {
  private static final int USERS = 32;
  private static final int CLIENTS = 2;

  /** How long what was broken goes on to be felt: a client tries again after a while. */
  private static final long GRACE_MILLIS = 10_000;

  private record Trouble(long from, long to) {}

  private record Failed(long began, String what) {}

  private final long seconds;
  private final String rate;
  private final List<String> java;
  private final Tree tree;
  private final Service service;
  private final Child dataNode;
  private final String address;
  private final Child[] clients = new Child[CLIENTS];
  private final BlockingQueue<String> answers = new LinkedBlockingQueue<>();
  private final List<Trouble> troubles = new ArrayList<>();
  private final List<Failed> failed = new ArrayList<>();
  private final List<String> wrong = new ArrayList<>();
  private final List<Sample> samples = new ArrayList<>();
  private final long start = System.nanoTime();
  private long callsOfKilled;
  private long refusalsOfKilled;
  private int kills;
  private int restarts;
  private int outages;

  private Soak(long seconds, String rate, Path scratch, String dataNode, List<String> java)
      throws IOException, InterruptedException {
    this.seconds = seconds;
    this.rate = rate;
    this.java = java;
    tree = new Tree(scratch.resolve("root"), USERS);
    Path key = scratch.resolve("key");
    Files.createFile(
        key, PosixFilePermissions.asFileAttribute(PosixFilePermissions.fromString("rw-------")));
    byte[] secret = new byte[32];
    ThreadLocalRandom.current().nextBytes(secret);
    Files.writeString(key, "1 " + HexFormat.of().formatHex(secret) + "\n");
    BlockingQueue<String> port = new LinkedBlockingQueue<>();
    String root = tree.root().toString();
    this.dataNode =
        new Child(
            List.of(dataNode, "--root", root, "--key", key.toString(), "--port", "0"),
            line -> {
              if (line.contains("listens at ")) {
                port.add(line.replaceFirst(".*:", ""));
              }
            });
    Path topology = scratch.resolve("topology");
    Files.writeString(topology, "1 127.0.0.1:" + within(port, "the DataNode") + " /rack\n");
    int free;
    try (ServerSocket socket = new ServerSocket(0)) {
      free = socket.getLocalPort();
    }
    address = "hdfs://127.0.0.1:" + free;
    List<String> options = new ArrayList<>(List.of("--root", root, "--policy", "shared"));
    options.addAll(List.of("--key", key.toString(), "--topology", topology.toString()));
    options.addAll(List.of("--port", Integer.toString(free), "--http-port", "0"));
    service = new Service(java, options);
  }

  private static String within(BlockingQueue<String> answers, String whose)
      throws IOException, InterruptedException {
    String answer = answers.poll(60, TimeUnit.SECONDS);
    if (answer == null) {
      throw new IOException("no word of " + whose);
    }
    return answer;
  }

  /**
   * Runs it.
   *
   * @param arguments how many seconds, calls a second or 0, a directory for scratch files, the program
   *     of the DataNode, and what runs Java
   */
  public static void main(String... arguments) throws Exception {
    List<String> java = List.of(arguments).subList(4, arguments.length);
    Soak soak =
        new Soak(
            Long.parseLong(arguments[0]), arguments[1], Path.of(arguments[2]), arguments[3], java);
    boolean good = false;
    try {
      soak.run();
      good = soak.verdict();
    } finally {
      soak.close();
    }
    System.exit(good ? 0 : 1);
  }

  private void run() throws IOException, InterruptedException {
    service.start();
    for (int i = 0; i < CLIENTS; i++) {
      startClient(i);
    }
    System.out.println(Sample.HEADER);
    double unit = Math.max(5, Math.min(30, seconds / 24.0)); // a client starts in a second or two
    int units = (int) (seconds / unit);
    int events = 0;
    for (int i = 1; i <= units; i++) {
      until(i * unit);
      if (i % Math.max(1, units / 12) == 0) {
        samples.add(sample());
        System.out.println(samples.get(samples.size() - 1));
      }
      if (i <= units - 4) { // the last thing is that all goes well
        trouble(events++, i <= units / 3, unit);
      }
    }
  }

  private double elapsed() {
    return (System.nanoTime() - start) / 1e9;
  }

  private void until(double second) throws InterruptedException {
    long millis = (long) ((second - elapsed()) * 1000);
    if (millis > 0) {
      Thread.sleep(millis);
    }
    for (Child client : clients) {
      if (!client.isAlive()) {
        throw new IllegalStateException("a client has ended by itself: " + wrong);
      }
    }
    if (!service.process().isAlive()) {
      throw new IllegalStateException("the service has ended by itself");
    }
  }

  private void startClient(int index) throws IOException {
    List<String> command = new ArrayList<>(java);
    command.addAll(List.of("-Xmx160m", "-XX:+UseSerialGC", "-XX:TieredStopAtLevel=1"));
    double share = Double.parseDouble(rate) / CLIENTS;
    command.addAll(List.of(Client.class.getName(), address, Double.toString(share)));
    command.add(Integer.toString(USERS));
    for (int user = 1 + index; user <= USERS; user += CLIENTS) {
      command.add("u" + user);
    }
    clients[index] = new Child(command, this::hear);
  }

  private void hear(String line) {
    if (line.startsWith(Report.COUNTS)) {
      answers.add(line.substring(Report.COUNTS.length()));
    } else if (line.startsWith(Report.FAILED)) {
      String[] words = line.substring(Report.FAILED.length()).split(" ", 2);
      synchronized (failed) {
        failed.add(new Failed(Long.parseLong(words[0]), words[1]));
      }
    } else if (line.startsWith(Report.WRONG)) {
      System.out.println(line);
      synchronized (wrong) {
        wrong.add(line);
      }
    } else {
      System.err.println(line);
    }
  }

  /** Breaks something, and mends it. */
  private void trouble(int number, boolean restart, double unit)
      throws IOException, InterruptedException {
    long from = System.currentTimeMillis();
    NameService.Failure[] failures = NameService.Failure.values();
    switch (restart ? number % 4 : 1 + number % 2 * 2) {
      case 0 -> {
        service.terminate();
        service.start();
        restarts++;
      }
      case 1 -> killClient(kills % CLIENTS);
      case 2 -> {
        // Nobody is known to it, and then it knows nobody.
        service.process().kill();
        service.start();
        restarts++;
        nameServiceFails(failures[outages % failures.length], unit / 2);
      }
      default -> nameServiceFails(failures[outages % failures.length], unit / 2);
    }
    troubles.add(new Trouble(from, System.currentTimeMillis()));
  }

  private void nameServiceFails(NameService.Failure how, double forSeconds)
      throws IOException, InterruptedException {
    outages++;
    NameService.fail(how);
    try {
      Thread.sleep((long) (forSeconds * 1000));
    } finally {
      NameService.comeBack(how);
    }
  }

  private void killClient(int index) throws IOException, InterruptedException {
    clients[index].tell("count");
    String[] counts = within(answers, "a client").split(" ");
    callsOfKilled += Long.parseLong(counts[0]);
    refusalsOfKilled += Long.parseLong(counts[1]);
    clients[index].kill();
    kills++;
    startClient(index);
  }

  /** Everybody waits while it is measured. */
  private Sample sample() throws IOException, InterruptedException {
    long calls = callsOfKilled;
    long refusals = refusalsOfKilled;
    for (Child client : clients) {
      client.tell("pause");
    }
    for (int i = 0; i < CLIENTS; i++) {
      String[] counts = within(answers, "a client").split(" ");
      calls += Long.parseLong(counts[0]);
      refusals += Long.parseLong(counts[1]);
    }
    Child process = service.process();
    long heap = service.heap();
    long users = service.userThreads();
    Sample sample =
        new Sample(
            (long) elapsed(),
            process.pid(),
            calls,
            refusals,
            process.status("Threads") - users,
            users,
            process.descriptors(),
            heap >> 10,
            process.status("VmRSS"),
            dataNode.status("Threads"),
            dataNode.descriptors(),
            dataNode.status("VmRSS"));
    for (Child client : clients) {
      client.tell("go");
    }
    return sample;
  }

  private boolean verdict() throws IOException, InterruptedException {
    service.terminate();
    List<String> faults = new ArrayList<>(tree.faults());
    synchronized (wrong) {
      faults.addAll(wrong);
    }
    int excused = 0;
    synchronized (failed) {
      for (Failed each : failed) {
        if (isExcused(each)) {
          excused++;
        } else {
          faults.add("failed while all was well: " + each.what());
        }
      }
    }
    Sample last = samples.get(samples.size() - 1);
    // The first one of the service that has lived since is taken while it was still warming up.
    List<Sample> sameProcess = samples.stream().filter(each -> each.pid() == last.pid()).toList();
    Sample first = sameProcess.get(Math.min(1, sameProcess.size() - 1));
    System.out.printf(
        "%n%,d calls of %d users, %,d of them refused as they must be; %d kills of clients, %d restarts,"
            + " %d failures of the name service, %d calls failed of these%n%n",
        last.calls(), USERS, last.refusals(), kills, restarts, outages, excused);
    faults.addAll(first.growthUntil(last));
    faults.stream().limit(50).forEach(fault -> System.out.println("fault: " + fault));
    System.out.println(faults.isEmpty() ? "all is well" : faults.size() + " faults");
    return faults.isEmpty();
  }

  private boolean isExcused(Failed failure) {
    for (Trouble trouble : troubles) {
      if (failure.began() >= trouble.from() - 1000
          && failure.began() <= trouble.to() + GRACE_MILLIS) {
        return true;
      }
    }
    return false;
  }

  private void close() {
    for (Child client : clients) {
      if (client != null) {
        client.close();
      }
    }
    service.close();
    dataNode.close();
  }
}
