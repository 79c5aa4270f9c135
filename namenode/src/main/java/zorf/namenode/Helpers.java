package zorf.namenode;

import java.io.IOException;
import java.io.InterruptedIOException;
import java.util.ArrayDeque;
import java.util.Deque;
import java.util.concurrent.RejectedExecutionException;
import java.util.concurrent.SynchronousQueue;
import java.util.concurrent.ThreadPoolExecutor;
import java.util.concurrent.TimeUnit;
import org.slf4j.Logger;
import org.slf4j.LoggerFactory;

/**
 * Has processors that would be idle take part in a call about many files, on other threads of the same
 * user. A call never waits for such a thread: what nobody else takes it does itself.
 */
final class Helpers implements AutoCloseable {
  private static final Logger LOG = LoggerFactory.getLogger(Helpers.class);
  private static final int MAX_FOR_A_CALL = 3;

  /** Parts of a call that wait to be done: enough that nobody is idle, few enough to be forgotten. */
  private static final int MAX_OFFERED = 64;

  private final Users users;
  private final int processors;
  private final ThreadPoolExecutor threads;

  /**
   * Starts threads, which must not be done by one that acts as a user: they would, too.
   *
   * @param processors how many calls can run at once; with one there are no helpers
   */
  Helpers(Users users, int processors) {
    this.users = users;
    this.processors = processors;
    threads =
        new ThreadPoolExecutor(
            Math.max(1, processors - 1),
            Math.max(1, processors - 1),
            0,
            TimeUnit.SECONDS,
            new SynchronousQueue<>(),
            task -> {
              Thread thread = new Thread(task, "helper");
              thread.setDaemon(true);
              return thread;
            });
    threads.prestartAllCoreThreads();
  }

  /** A part of a call; it may have further ones done. */
  @FunctionalInterface
  interface Part {
    void run() throws IOException;
  }

  /** {@return what does the parts of the call that runs on this thread} */
  Team team() {
    return new Team(Caller.current());
  }

  @Override
  public void close() {
    threads.shutdownNow();
  }

  /** Those who do the parts of one call. */
  final class Team {
    private final Caller caller;
    private final Deque<Part> offered = new ArrayDeque<>();
    private int unfinished;
    private int invited;
    private int helping;
    private boolean over;
    private Throwable failure;

    private Team(Caller caller) {
      this.caller = caller;
    }

    /** Has a part done: by somebody else if there is somebody, else now. */
    void run(Part part) throws IOException {
      if (!offer(part)) {
        part.run();
      }
    }

    private boolean offer(Part part) {
      synchronized (this) {
        if (invited < MAX_FOR_A_CALL && users.running() < processors && invite()) {
          invited++;
        }
        if (invited == 0 || offered.size() >= MAX_OFFERED || failure != null) {
          return false;
        }
        offered.push(part); // the last one first: the fewest are left to remember
        unfinished++;
        notifyAll();
        return true;
      }
    }

    private boolean invite() {
      try {
        threads.execute(this::help);
        return true;
      } catch (RejectedExecutionException e) {
        return false; // all of them help others
      }
    }

    private void help() {
      try {
        users.read(
            caller,
            () -> {
              if (join()) {
                work();
                leave();
              }
              return null;
            });
      } catch (Exception e) {
        LOG.debug("nobody helps {}", caller.user(), e);
      }
    }

    private synchronized boolean join() {
      if (!over) {
        helping++;
      }
      return !over;
    }

    private synchronized void leave() {
      helping--;
      notifyAll();
    }

    private void work() {
      for (Part part = next(); part != null; part = next()) {
        try {
          part.run();
        } catch (Throwable e) {
          fail(e);
        }
        finished();
      }
    }

    private synchronized Part next() {
      try {
        while (failure == null && offered.isEmpty() && unfinished > 0) {
          wait();
        }
      } catch (InterruptedException e) {
        Thread.currentThread().interrupt();
        fail(new InterruptedIOException("the call was interrupted"));
      }
      return failure == null ? offered.poll() : null;
    }

    private synchronized void finished() {
      unfinished--;
      notifyAll();
    }

    private synchronized void fail(Throwable e) {
      failure = failure == null ? e : failure;
      notifyAll();
    }

    /**
     * Does the first part, and all that it has done, to the end.
     *
     * @throws IOException the first failure, which ends all of it
     */
    void complete(Part first) throws IOException {
      try {
        first.run();
      } catch (Throwable e) {
        fail(e);
      }
      work();
      awaitHelpers();
      if (failure instanceof IOException e) {
        throw e;
      }
      if (failure instanceof RuntimeException e) {
        throw e;
      }
      if (failure instanceof Error e) {
        throw e;
      }
    }

    private synchronized void awaitHelpers() {
      over = true;
      boolean interrupted = false;
      while (helping > 0) {
        try {
          wait();
        } catch (InterruptedException e) {
          interrupted = true; // they are at their last parts
        }
      }
      if (interrupted) {
        Thread.currentThread().interrupt();
      }
    }
  }
}
