package org.apache.hadoop.hdfs.server.namenode.zorf;

import java.io.IOException;
import java.time.Duration;
import java.util.Arrays;
import java.util.Objects;
import java.util.concurrent.ThreadFactory;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.atomic.AtomicLong;
import java.util.concurrent.atomic.AtomicLongArray;
import java.util.concurrent.locks.LockSupport;
import org.apache.hadoop.hdfs.server.namenode.ZORFNative;

/**
 * Threads that act as users, each as one user for its whole life.
 *
 * <pre>{@code
 * try (UserThreads threads = UserThreads.builder().build()) {
 *   FileStatus status = threads.call("alice", () -> files.status("/zorf/home/alice/a"));
 * }
 * }</pre>
 *
 * <p>{@link ZORFNative#setFsUid(String)} does not say when a switch fails, leaves groups behind, and
 * hands its identity to every thread that is started meanwhile. Here a thread is started by one that
 * never switches, switches once, and then compares what the kernel says of it with what the name
 * service says of the user. It serves nobody where these differ: where a capability, the name
 * service or a descriptor was missing, the call ends with a {@link UserThreadException}, and nothing
 * was done as somebody else.
 *
 * <p>A call waits for a thread where all of its user's are busy, for a bounded time and among a
 * bounded number. Threads end after some minutes, so that changes of groups arrive. All methods may
 * be called by any thread, virtual ones too.
 *
 * <p>An action is to call natives and {@code java.nio.file} only. It must not call {@code setFsUid}.
 * A thread that it starts acts as the user for good. Classes that it is the first to use are loaded
 * as the user, so name them in {@link Builder#warmUp}.
 */
public final class UserThreads implements AutoCloseable {
  private final UserDispatcher dispatcher;
  private final long maxWaitNanos;
  private final long closeWaitNanos;
  private final AtomicLong asNobody = new AtomicLong();
  private final AtomicLongArray refused =
      new AtomicLongArray(UserThreadException.Reason.values().length);

  /**
   * What is done as a user.
   *
   * @param <T> the type of its result
   * @param <E> the exception that it declares
   */
  @FunctionalInterface
  public interface Action<T, E extends Exception> {
    /**
     * Does it, on a thread that acts as the user.
     *
     * @return the result
     * @throws E if it fails
     */
    T run() throws E;
  }

  private UserThreads(Builder options) throws IOException, InterruptedException {
    UserThreadStarter starter = new UserThreadStarter(options.threadFactory);
    ThreadIdentity own = starter.begin(options.warmUp);
    dispatcher = new UserDispatcher(options, own, superuser(options, own), starter);
    maxWaitNanos = options.maxWaitNanos;
    closeWaitNanos = options.closeWaitNanos;
  }

  private static String superuser(Builder options, ThreadIdentity own) {
    if (options.superuser != null) {
      return options.superuser;
    }
    try {
      return ZORFNative.getUser((int) own.euid());
    } catch (Exception e) { // an IOException that the native does not declare: it has no name
      return null;
    }
  }

  /** {@return the choices to make threads by, each with a default} */
  public static Builder builder() {
    return new Builder();
  }

  /**
   * Runs an action as a user and waits for it. A user that the host does not know is refused.
   *
   * <p>An interrupt while the call waits for a thread takes it back. Once it runs, the interrupt is
   * passed on to it; the call still ends with it, and leaves the calling thread interrupted.
   *
   * @param <T> the type of the result
   * @param <E> the exception that the action declares
   * @param user the name of the user
   * @param action what to do
   * @return what the action returns
   * @throws E what the action throws
   * @throws UserThreadException if the action was not run
   * @throws InterruptedException if the calling thread was interrupted before the action began
   */
  public <T, E extends Exception> T call(String user, Action<T, E> action)
      throws E, UserThreadException, InterruptedException {
    return run(user, action, false);
  }

  /**
   * As {@link #call}, but a user that the host does not know acts as {@code nobody}: for actions
   * that change nothing.
   *
   * @param <T> the type of the result
   * @param <E> the exception that the action declares
   * @param user the name of the user
   * @param action what to do
   * @return what the action returns
   * @throws E what the action throws
   * @throws UserThreadException if the action was not run
   * @throws InterruptedException if the calling thread was interrupted before the action began
   */
  public <T, E extends Exception> T read(String user, Action<T, E> action)
      throws E, UserThreadException, InterruptedException {
    return run(user, action, true);
  }

  private <T, E extends Exception> T run(String user, Action<T, E> action, boolean orNobody)
      throws E, UserThreadException, InterruptedException {
    Objects.requireNonNull(user, "user");
    long deadline = System.nanoTime() + maxWaitNanos;
    UserCall<T> call = new UserCall<>(Objects.requireNonNull(action, "action"));
    UserThreadException refusal = await(user, call, deadline);
    if (refusal != null
        && refusal.reason() == UserThreadException.Reason.UNKNOWN_USER
        && orNobody) {
      asNobody.incrementAndGet();
      call = new UserCall<>(action);
      refusal = await(UserAccount.NOBODY, call, deadline);
    }
    if (refusal != null) {
      refused.incrementAndGet(refusal.reason().ordinal());
      throw refusal;
    }
    return call.<E>outcome();
  }

  /** Has a call served; returns why that was refused, else null. */
  private UserThreadException await(String user, UserCall<?> call, long deadline)
      throws InterruptedException {
    if (Thread.interrupted()) {
      throw new InterruptedException();
    }
    UserThreadException notTaken = dispatcher.submit(user, call);
    if (notTaken != null) {
      return notTaken;
    }
    boolean begun = false;
    boolean interrupted = false;
    while (!call.isDone()) {
      if (begun) {
        LockSupport.park(this);
      } else {
        LockSupport.parkNanos(this, deadline - System.nanoTime());
      }
      if (Thread.interrupted()) {
        if (!begun && dispatcher.takeBack(user, call)) {
          throw new InterruptedException();
        }
        begun = true;
        interrupted = true;
        call.interrupt();
      } else if (!begun && deadline - System.nanoTime() <= 0) {
        if (dispatcher.takeBack(user, call)) {
          return UserThreadException.busy(
              user,
              "waited "
                  + TimeUnit.NANOSECONDS.toMillis(maxWaitNanos)
                  + " ms, "
                  + dispatcher.load(user));
        }
        begun = true;
      }
    }
    if (interrupted) {
      Thread.currentThread().interrupt();
    }
    return call.refusal();
  }

  /** {@return how many threads there are now} */
  public int threads() {
    return dispatcher.threads();
  }

  /** {@return how busy the threads are, and what they have done so far} */
  public UserThreadCounts counts() {
    UserThreadCounts counts = dispatcher.counts();
    counts.asNobody = asNobody.get();
    counts.refused = new long[refused.length()];
    Arrays.setAll(counts.refused, refused::get);
    return counts;
  }

  /**
   * Ends the threads. Calls that wait are refused. Those that run are waited for, then interrupted
   * and waited for again, each for the time of {@link Builder#closeWait}; a call that even then does
   * not end keeps its thread, which serves no other. An interrupt of the calling thread ends the
   * waiting, and interrupts what runs.
   */
  @Override
  public void close() {
    dispatcher.close();
    boolean interrupted = false;
    try {
      if (!dispatcher.awaitEnd(closeWaitNanos)) {
        dispatcher.interruptAll();
        dispatcher.awaitEnd(closeWaitNanos);
      }
    } catch (InterruptedException e) {
      interrupted = true;
      dispatcher.interruptAll();
    }
    if (interrupted) {
      Thread.currentThread().interrupt();
    }
  }

  /** The choices to make {@link UserThreads} by. */
  public static final class Builder {
    int threadsPerUser = 8;
    int threads = 256;
    int maxWaiting = 1000;
    long maxWaitNanos = TimeUnit.SECONDS.toNanos(10);
    long maxIdleNanos = TimeUnit.SECONDS.toNanos(60);
    long maxAgeNanos = TimeUnit.SECONDS.toNanos(300);
    long closeWaitNanos = TimeUnit.SECONDS.toNanos(10);
    String superuser;
    ThreadFactory threadFactory = daemonThreads();
    Action<?, ?> warmUp = () -> null;

    private Builder() {}

    private static ThreadFactory daemonThreads() {
      AtomicLong number = new AtomicLong();
      return task -> {
        Thread thread = new Thread(task, "zorf-user-" + number.incrementAndGet());
        thread.setDaemon(true);
        return thread;
      };
    }

    private static int positive(String what, int number) {
      if (number <= 0) {
        throw new IllegalArgumentException(what + " " + number);
      }
      return number;
    }

    private static long positive(String what, Duration time) {
      if (time.isNegative() || time.isZero()) {
        throw new IllegalArgumentException(what + " " + time);
      }
      return time.toNanos();
    }

    /**
     * How many threads act for one user at once, 8 if not chosen.
     *
     * @param number more than 0
     * @return this
     */
    public Builder threadsPerUser(int number) {
      threadsPerUser = positive("threads for a user", number);
      return this;
    }

    /**
     * How many threads there are in all, 256 if not chosen.
     *
     * @param number more than 0
     * @return this
     */
    public Builder threads(int number) {
      threads = positive("threads", number);
      return this;
    }

    /**
     * How many calls of a user wait for a thread, 1000 if not chosen; one more is refused.
     *
     * @param number more than 0
     * @return this
     */
    public Builder maxWaiting(int number) {
      maxWaiting = positive("calls that wait", number);
      return this;
    }

    /**
     * How long a call waits for a thread, 10 seconds if not chosen. How long it runs is not limited.
     *
     * @param time more than 0
     * @return this
     */
    public Builder maxWait(Duration time) {
      maxWaitNanos = positive("time to wait", time);
      return this;
    }

    /**
     * How long a thread stays without calls, 60 seconds if not chosen.
     *
     * @param time more than 0
     * @return this
     */
    public Builder maxIdle(Duration time) {
      maxIdleNanos = positive("idle time", time);
      return this;
    }

    /**
     * How long a thread takes calls, 300 seconds if not chosen; that is how long a change of a user's
     * groups may go unnoticed.
     *
     * @param time more than 0
     * @return this
     */
    public Builder maxAge(Duration time) {
      maxAgeNanos = positive("age", time);
      return this;
    }

    /**
     * How long {@link UserThreads#close} waits for calls to end, and again when it has interrupted
     * them; 10 seconds if not chosen.
     *
     * @param time more than 0
     * @return this
     */
    public Builder closeWait(Duration time) {
      closeWaitNanos = positive("time to close", time);
      return this;
    }

    /**
     * The user whose threads stay what the process is; if not chosen, the user that the process runs
     * as.
     *
     * @param name the name of the user
     * @return this
     */
    public Builder superuser(String name) {
      superuser = Objects.requireNonNull(name, "superuser");
      return this;
    }

    /**
     * What makes the threads; they must not be virtual, which share the threads that they run on,
     * and so their identities.
     *
     * @param factory the factory
     * @return this
     */
    public Builder threadFactory(ThreadFactory factory) {
      threadFactory = Objects.requireNonNull(factory, "thread factory");
      return this;
    }

    /**
     * What is run once, as the process itself, before any thread acts as a user. It should do what
     * the calls will do: then no class is loaded and no logger opens its file as somebody else.
     *
     * @param action what to do
     * @return this
     */
    public Builder warmUp(Action<?, ?> action) {
      warmUp = Objects.requireNonNull(action, "warm-up");
      return this;
    }

    /**
     * Makes the threads, or rather the one that will start them. It inherits the identity of the
     * calling thread, which must be that of the process.
     *
     * @return the threads, to be closed
     * @throws IOException if the identity can't be read, or the warm-up fails
     * @throws InterruptedException if the calling thread is interrupted
     * @throws IllegalStateException if the calling thread acts as somebody else
     * @throws IllegalArgumentException if the thread factory makes virtual threads
     */
    public UserThreads build() throws IOException, InterruptedException {
      return new UserThreads(this);
    }
  }
}
