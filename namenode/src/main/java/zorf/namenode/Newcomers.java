package zorf.namenode;

import java.util.HashMap;
import java.util.Map;
import java.util.concurrent.ConcurrentHashMap;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.atomic.AtomicInteger;
import java.util.concurrent.atomic.AtomicLong;
import org.apache.hadoop.ipc.RetriableException;

/**
 * Lets few calls at a time wait for the name service. Those of a user who is not being served, nor was just
 * before, may have to, for the user's groups and for a thread; a name service that hangs would else hold every
 * thread that serves clients, and with that everybody. Others pass without a limit.
 */
final class Newcomers {
  /** For so long a user whose call began without delay is taken to be served so again. */
  private static final long KNOWN_NANOS = TimeUnit.SECONDS.toNanos(2);

  private static final long NO_DELAY_NANOS = TimeUnit.MILLISECONDS.toNanos(500);

  /** When none of those who may wait has gone on for so long, nobody else begins to wait. */
  private static final long PATIENCE_NANOS = TimeUnit.SECONDS.toNanos(2);

  private static final long LONGEST_NANOS = TimeUnit.SECONDS.toNanos(10);

  private static final int MOST_OF_USER = 2;
  private static final int SWEPT_ABOVE = 10_000;

  /** Calls that have not begun, and since when there are as many as may be. */
  private static final class Count {
    private int calls;
    private long fullSince;

    private boolean isFull(int most) {
      return calls >= most;
    }

    private void add(int most) {
      if (++calls == most) {
        fullSince = System.nanoTime();
      }
    }
  }

  /** A user's calls that have begun. */
  private static final class Served {
    private final AtomicInteger running = new AtomicInteger();
    private volatile long lastBegun = System.nanoTime();

    private boolean isKnown() {
      return running.get() > 0 || System.nanoTime() - lastBegun < KNOWN_NANOS;
    }
  }

  private final int most;
  private final Map<String, Served> served = new ConcurrentHashMap<>();
  private final Map<String, Count> users = new HashMap<>();
  private final Count all = new Count();
  private final AtomicLong refused = new AtomicLong();

  /**
   * Takes a limit.
   *
   * @param handlers how many threads serve clients; newcomers get half of them
   */
  Newcomers(int handlers) {
    most = Math.max(1, handlers / 2);
  }

  /** A call, from when it comes in until it ends. */
  final class Pass implements AutoCloseable {
    private final String user;
    private final long entered = System.nanoTime();
    private Count counted;
    private Served running;

    private Pass(String user, Count counted) {
      this.user = user;
      this.counted = counted;
    }

    /** The call is run as the user. */
    void begun() {
      running = served.computeIfAbsent(user, name -> new Served());
      running.running.incrementAndGet();
      long now = System.nanoTime();
      if (counted != null || now - entered < NO_DELAY_NANOS) {
        running.lastBegun = now;
      }
      leave(this);
    }

    @Override
    public void close() {
      leave(this);
      if (running != null) {
        running.running.decrementAndGet();
      }
    }
  }

  /** Lets a call in of a user about whom nothing has to be asked. */
  Pass known(String user) {
    return new Pass(user, null);
  }

  /**
   * Lets a call in.
   *
   * @return to be told when it begins and when it ends
   * @throws RetriableException if too many others wait
   */
  Pass enter(String user) throws RetriableException {
    if (isKnown(user)) {
      return known(user);
    }
    try {
      return enterNew(user);
    } catch (InterruptedException e) {
      Thread.currentThread().interrupt();
      throw new RetriableException("the NameNode is being stopped");
    }
  }

  /** {@return how many calls were not let in} */
  long refused() {
    return refused.get();
  }

  private boolean isKnown(String user) {
    Served calls = served.get(user);
    return calls != null && calls.isKnown();
  }

  private synchronized Pass enterNew(String user)
      throws RetriableException, InterruptedException {
    long deadline = System.nanoTime() + LONGEST_NANOS;
    while (true) {
      if (isKnown(user)) {
        return known(user);
      }
      Count own = users.getOrDefault(user, new Count());
      boolean ownFull = own.isFull(MOST_OF_USER);
      if (!ownFull && !all.isFull(most)) {
        own.add(MOST_OF_USER);
        all.add(most);
        users.put(user, own);
        return new Pass(user, own);
      }
      long now = System.nanoTime();
      long left = Math.min(deadline, (ownFull ? own : all).fullSince + PATIENCE_NANOS) - now;
      if (left <= 0) {
        refused.incrementAndGet();
        throw new RetriableException(
            "the name service takes its time: "
                + own.calls
                + " calls of "
                + user
                + " wait for it, of "
                + all.calls
                + " in all");
      }
      TimeUnit.NANOSECONDS.timedWait(this, left);
    }
  }

  private void leave(Pass pass) {
    if (pass.counted != null) {
      leaveNew(pass);
    }
  }

  private synchronized void leaveNew(Pass pass) {
    all.calls--;
    if (--pass.counted.calls == 0) {
      users.remove(pass.user);
    }
    pass.counted = null;
    if (served.size() > SWEPT_ABOVE) {
      served.values().removeIf(calls -> !calls.isKnown());
    }
    notifyAll();
  }
}
