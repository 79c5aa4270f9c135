package zorf.namenode.bench;

import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.locks.LockSupport;

/** Clients that ask all at once for some time, and what came of it. */
final class Load {
  /**
   * What came of it.
   *
   * @param perSecond calls
   * @param p50 the time of a call that half of them don't exceed, in microseconds
   * @param p99 that 1 of 100 exceeds
   * @param p999 that 1 of 1000 exceeds
   * @param cpu the service's processor time for a call, in microseconds
   * @param resident the service's memory at the end, in MiB
   */
  record Result(double perSecond, double p50, double p99, double p999, double cpu, long resident) {}

  private final Service service;
  private final List<Client> clients;
  private final Client.Question question;
  private volatile boolean counting;
  private volatile boolean over;
  private volatile Throwable failure;

  private Load(Service service, List<Client> clients, Client.Question question) {
    this.service = service;
    this.clients = clients;
    this.question = question;
  }

  /**
   * Has every client ask on a thread of its own.
   *
   * @param perSecond how many calls they are to make in all, at even distances; a call's time is from
   *     when it was due. 0 for each as soon as the one before is answered.
   */
  static Result run(
      Service service,
      List<Client> clients,
      Client.Question question,
      double perSecond,
      double warmUpSeconds,
      double seconds)
      throws Exception {
    return new Load(service, clients, question).run(perSecond, warmUpSeconds, seconds);
  }

  private final class Asking extends Thread {
    private final Client client;
    private final long distance;
    private long[] times = new long[1 << 16];
    private int calls;

    Asking(Client client, long distance) {
      this.client = client;
      this.distance = distance;
    }

    @Override
    public void run() {
      try {
        long due = System.nanoTime() + (long) (Math.random() * distance);
        while (!over) {
          long now = System.nanoTime();
          if (distance > 0) {
            for (; now < due; now = System.nanoTime()) {
              LockSupport.parkNanos(due - now);
            }
          } else {
            due = now;
          }
          boolean counts = counting;
          client.ask(question);
          if (counts && !over) {
            add(System.nanoTime() - due);
          }
          due += distance;
        }
        client.tidyUp();
      } catch (Throwable e) {
        failure = e;
      }
    }

    private void add(long time) {
      if (calls == times.length) {
        times = Arrays.copyOf(times, 2 * calls);
      }
      times[calls++] = time;
    }
  }

  private Result run(double perSecond, double warmUpSeconds, double seconds) throws Exception {
    long distance = perSecond == 0 ? 0 : (long) (1e9 * clients.size() / perSecond);
    List<Asking> threads = new ArrayList<>();
    for (Client client : clients) {
      threads.add(new Asking(client, distance));
    }
    threads.forEach(Thread::start);
    sleep(warmUpSeconds);
    double cpuBefore = service.cpuSeconds();
    long start = System.nanoTime();
    counting = true;
    sleep(seconds);
    over = true;
    double took = (System.nanoTime() - start) / 1e9;
    double cpu = service.cpuSeconds() - cpuBefore;
    long resident = service.residentMiB();
    for (Asking thread : threads) {
      thread.join();
    }
    if (failure != null) {
      throw new IllegalStateException("a client failed", failure);
    }
    long[] times = threads.stream().flatMapToLong(t -> Arrays.stream(t.times, 0, t.calls)).toArray();
    if (times.length == 0) {
      throw new IllegalStateException("no call began and ended in " + seconds + " s");
    }
    Arrays.sort(times);
    return new Result(
        times.length / took,
        quantile(times, 0.5),
        quantile(times, 0.99),
        quantile(times, 0.999),
        cpu * 1e6 / times.length,
        resident);
  }

  private static void sleep(double seconds) throws InterruptedException {
    TimeUnit.MILLISECONDS.sleep((long) (1000 * seconds));
  }

  private static double quantile(long[] sorted, double part) {
    return sorted[(int) (part * (sorted.length - 1))] / 1000.0;
  }
}
