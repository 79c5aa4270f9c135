package zorf.namenode.soak;

import java.io.BufferedReader;
import java.io.InputStreamReader;
import java.net.URI;
import java.nio.charset.StandardCharsets;
import java.security.PrivilegedExceptionAction;
import java.util.ArrayList;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.Random;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.atomic.AtomicInteger;
import java.util.concurrent.atomic.AtomicLong;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.hdfs.DistributedFileSystem;
import org.apache.hadoop.hdfs.HdfsConfiguration;
import org.apache.hadoop.security.UserGroupInformation;
import org.apache.log4j.Level;
import org.apache.log4j.LogManager;

/**
 * A process with some of the users: a thread for each, which does one random thing after the other. It is
 * told "pause" and "go", and asked to "count", and tells what has happened in lines, see {@link Report}.
 */
public final class Client {
  private final Object lock = new Object();
  private boolean paused;
  private final AtomicInteger working = new AtomicInteger();
  private final AtomicLong calls = new AtomicLong();
  private final AtomicLong refusals = new AtomicLong();

  private Client() {}

  /**
   * Asks until its input ends.
   *
   * @param arguments the service's address, calls a second or 0, how many users there are, and which of them
   *     are this process's
   */
  public static void main(String... arguments) throws Exception {
    LogManager.getRootLogger().setLevel(Level.OFF); // what fails is told in reports
    Client client = new Client();
    URI address = URI.create(arguments[0]);
    double rate = Double.parseDouble(arguments[1]);
    int users = Integer.parseInt(arguments[2]);
    int own = arguments.length - 3;
    Map<String, DistributedFileSystem> files = new HashMap<>();
    List<String> names = new ArrayList<>();
    for (int i = 3; i < arguments.length; i++) {
      names.add(arguments[i]);
      files.put(arguments[i], client.as(arguments[i], address));
    }
    files.put("stranger", client.as("stranger", address));
    for (int i = 0; i < own; i++) {
      String peer = names.get((i + 1) % own);
      User user = new User(client, names.get(i), peer, files, users, new Random());
      Thread thread = new Thread(() -> client.work(user, rate / own), user.name());
      thread.setDaemon(true);
      thread.start();
    }
    client.listen();
  }

  private DistributedFileSystem as(String user, URI address) throws Exception {
    Configuration patient = new HdfsConfiguration();
    patient.setBoolean("dfs.client.retry.policy.enabled", true);
    patient.set("dfs.client.retry.policy.spec", "500,200");
    patient.setInt("ipc.client.connection.maxidletime", 600_000);
    PrivilegedExceptionAction<FileSystem> open = () -> FileSystem.newInstance(address, patient);
    return (DistributedFileSystem) UserGroupInformation.createRemoteUser(user).doAs(open);
  }

  private void listen() throws Exception {
    BufferedReader in =
        new BufferedReader(new InputStreamReader(System.in, StandardCharsets.UTF_8));
    for (String line = in.readLine(); line != null; line = in.readLine()) {
      synchronized (lock) {
        paused = line.equals("pause");
        lock.notifyAll();
      }
      while (paused && working.get() > 0) {
        Thread.sleep(10);
      }
      if (!line.equals("go")) {
        System.out.println(Report.counts(calls.get(), refusals.get()));
      }
    }
    System.exit(0);
  }

  /** Does one thing after the other, as often as the rate allows. */
  private void work(User user, double rate) {
    long done = 0;
    long start = System.nanoTime();
    try {
      while (true) {
        long before = user.calls();
        working.incrementAndGet();
        try {
          if (!isPaused()) {
            user.step();
          }
        } finally {
          working.decrementAndGet();
        }
        done += user.calls() - before;
        calls.addAndGet(user.calls() - before);
        if (waitWhilePaused()) {
          start = System.nanoTime();
          done = 0;
        } else if (rate > 0) {
          long due = start + (long) (done / rate * TimeUnit.SECONDS.toNanos(1));
          TimeUnit.NANOSECONDS.sleep(due - System.nanoTime());
        }
      }
    } catch (Exception | Error e) {
      e.printStackTrace(System.out);
      System.out.println(Report.wrong(user.name(), "ended with " + e));
    }
  }

  private boolean isPaused() {
    synchronized (lock) {
      return paused;
    }
  }

  private boolean waitWhilePaused() throws InterruptedException {
    synchronized (lock) {
      boolean waits = paused;
      while (paused) {
        lock.wait();
      }
      return waits;
    }
  }

  /** A refusal came that had to come. */
  void refused() {
    refusals.incrementAndGet();
  }
}
