package org.apache.hadoop.hdfs.server.namenode.zorf;

import java.util.ArrayDeque;
import java.util.Deque;
import java.util.HashMap;
import java.util.HashSet;
import java.util.LinkedHashSet;
import java.util.Map;
import java.util.Set;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.locks.Condition;
import java.util.concurrent.locks.ReentrantLock;

/**
 * Decides which thread serves which call, and when a thread begins and ends. A call goes to the
 * thread of its user that became idle last; else it waits, first come first served, while a thread
 * is started if the limits allow that. Where the limit on all threads does not, a thread that has
 * been idle for long, or one of several of a user, ends for a user who waits.
 */
final class UserDispatcher {
  /** A user whose calls wait or who has threads. */
  static final class User {
    private final String name;
    private final Deque<UserCall<?>> waiting = new ArrayDeque<>();
    /** The last used first. */
    private final Deque<UserWorker> idle = new ArrayDeque<>();
    /** Those that are starting or ending too. */
    private int threads;
    private int starting;

    private User(String name) {
      this.name = name;
    }

    String name() {
      return name;
    }
  }

  /** A thread that was idle for less does not end for a user who has another thread. */
  private static final long SHORT_IDLE_NANOS = TimeUnit.SECONDS.toNanos(1);

  private final int maxThreadsPerUser;
  private final int maxThreads;
  private final int maxWaiting;
  private final long maxIdleNanos;
  private final long maxAgeNanos;
  private final ThreadIdentity ownIdentity;
  private final String superuser;
  private final UserThreadStarter starter;

  private final ReentrantLock lock = new ReentrantLock();
  private final Condition threadEnded = lock.newCondition();
  private final Map<String, User> users = new HashMap<>();
  private final Set<UserWorker> workers = new HashSet<>();
  /** Users who want a thread, for which another one must end first. */
  private final Set<User> kept = new LinkedHashSet<>();
  /** Threads that were told to end for one of them. */
  private int making;
  private boolean closed;
  private long started;
  private long handed;
  private long waited;
  private long waitedNanos;

  UserDispatcher(
      UserThreads.Builder limits,
      ThreadIdentity ownIdentity,
      String superuser,
      UserThreadStarter starter) {
    maxThreadsPerUser = limits.threadsPerUser;
    maxThreads = limits.threads;
    maxWaiting = limits.maxWaiting;
    maxIdleNanos = limits.maxIdleNanos;
    maxAgeNanos = limits.maxAgeNanos;
    this.ownIdentity = ownIdentity;
    this.superuser = superuser;
    this.starter = starter;
  }

  /** What threads begin as. */
  ThreadIdentity ownIdentity() {
    return ownIdentity;
  }

  boolean isSuperuser(String user) {
    return user.equals(superuser);
  }

  // The callers' side.

  /** Gives the call to an idle thread, or has it wait for one; returns why not, else null. */
  UserThreadException submit(String name, UserCall<?> call) {
    UserWorker free;
    lock.lock();
    try {
      if (closed) {
        return UserThreadException.closed(name);
      }
      User user = users.computeIfAbsent(name, User::new);
      free = user.idle.poll();
      if (free != null) {
        handed++;
        free.assign(call);
      } else {
        if (user.waiting.size() >= maxWaiting) {
          return UserThreadException.busy(name, "already " + load(user));
        }
        call.waitingSince = System.nanoTime();
        user.waiting.add(call);
        grow(user);
      }
    } finally {
      lock.unlock();
    }
    if (free != null) {
      free.wake();
    }
    return null;
  }

  /** Takes back a call that waits; false if a thread has it already. */
  boolean takeBack(String name, UserCall<?> call) {
    lock.lock();
    try {
      User user = users.get(name);
      if (user == null || !user.waiting.remove(call)) {
        return false;
      }
      forgetIfUnused(user);
      return true;
    } finally {
      lock.unlock();
    }
  }

  /** How busy a user's threads are, in words. */
  String load(String name) {
    lock.lock();
    try {
      User user = users.get(name);
      return load(user == null ? new User(name) : user);
    } finally {
      lock.unlock();
    }
  }

  private String load(User user) {
    return user.waiting.size()
        + " other calls wait for "
        + user.threads
        + " threads, of "
        + workers.size()
        + " in all";
  }

  // The threads' side.

  /** A thread acts as its user from now on. */
  void born(UserWorker worker) {
    lock.lock();
    try {
      worker.user().starting--;
    } finally {
      lock.unlock();
    }
  }

  /** A thread can't act as its user: the calls that no other one will serve end with the reason. */
  void notBorn(UserWorker worker, UserThreadException why) {
    lock.lock();
    try {
      User user = worker.user();
      user.starting--;
      // This one is still counted.
      if (user.threads - user.starting == 1) {
        refuseWaiting(user, why);
      }
    } finally {
      lock.unlock();
    }
  }

  private static void refuseWaiting(User user, UserThreadException why) {
    for (UserCall<?> call = user.waiting.poll(); call != null; call = user.waiting.poll()) {
      call.refuse(why.copy());
    }
  }

  /**
   * The thread's next call, waited for; null when the thread is to end. The caller of the one that
   * it has served hears of it when the thread is free, so that the caller's next call finds it.
   */
  UserCall<?> next(UserWorker worker, UserCall<?> served) {
    long deadline;
    lock.lock();
    try {
      long now = System.nanoTime();
      if (closed || worker.expiry() - now <= 0 || givesWay(worker.user())) {
        return null;
      }
      UserCall<?> call = worker.user().waiting.poll();
      if (call != null) {
        handed++;
        waited++;
        waitedNanos += now - call.waitingSince;
        forgetIfUnused(worker.user());
        return call;
      }
      worker.idleSince = now;
      worker.user().idle.push(worker);
      deadline = now + Math.min(maxIdleNanos, worker.expiry() - now);
    } finally {
      lock.unlock();
      if (served != null) {
        served.finish();
      }
    }
    UserCall<?> call = worker.await(deadline);
    return call != null ? call : retire(worker);
  }

  /** Takes a thread out of the idle ones; a call that it was given meanwhile is still served. */
  private UserCall<?> retire(UserWorker worker) {
    lock.lock();
    try {
      worker.user().idle.remove(worker);
      return worker.takeAssigned();
    } finally {
      lock.unlock();
    }
  }

  /** A thread is gone. */
  void ended(UserWorker worker) {
    lock.lock();
    try {
      User user = worker.user();
      workers.remove(worker);
      user.threads--;
      making = Math.max(0, making - 1);
      if (!closed) {
        startForOthers();
        grow(user);
      }
      forgetIfUnused(user);
      threadEnded.signalAll();
    } finally {
      lock.unlock();
    }
  }

  // The limits. All of it is called with the lock held.

  /** Has a thread started for a user whose calls wait, now or when another one has ended. */
  private void grow(User user) {
    if (user.starting >= user.waiting.size() || user.threads >= maxThreadsPerUser) {
      return;
    }
    if (workers.size() < maxThreads) {
      UserWorker worker = new UserWorker(this, user);
      user.threads++;
      user.starting++;
      workers.add(worker);
      started++;
      starter.start(worker);
    } else {
      kept.add(user);
      if (making < kept.size()) {
        dismissLongestIdle(user.threads == 0 ? 0 : SHORT_IDLE_NANOS);
      }
    }
  }

  private void dismissLongestIdle(long leastNanos) {
    UserWorker longest = null;
    for (User user : users.values()) {
      UserWorker candidate = user.idle.peekLast();
      if (candidate != null
          && (longest == null || candidate.idleSince - longest.idleSince < 0)) {
        longest = candidate;
      }
    }
    if (longest != null && System.nanoTime() - longest.idleSince >= leastNanos) {
      longest.user().idle.remove(longest);
      longest.dismiss();
      making++;
    }
  }

  /** Whether a thread that is free now ends for a user who waits and has none. */
  private boolean givesWay(User user) {
    User first = firstKept();
    boolean way =
        first != null
            && first.threads == 0
            && making < kept.size()
            && (user.waiting.isEmpty() || user.threads > 1);
    if (way) {
      making++;
    }
    return way;
  }

  /** The user to be served next: one without any thread, if there is one. */
  private User firstKept() {
    User first = null;
    for (User user : kept) {
      if (user.threads == 0) {
        return user;
      }
      first = first == null ? user : first;
    }
    return first;
  }

  private void startForOthers() {
    while (!kept.isEmpty() && workers.size() < maxThreads) {
      User user = firstKept();
      kept.remove(user);
      grow(user);
    }
  }

  private void forgetIfUnused(User user) {
    if (user.waiting.isEmpty()) {
      kept.remove(user);
      if (user.threads == 0) {
        users.remove(user.name, user);
      }
    }
  }

  long maxAgeNanos() {
    return maxAgeNanos;
  }

  // The end.

  /** Ends the calls that wait and the threads that are idle, and takes no more. */
  void close() {
    lock.lock();
    try {
      closed = true;
      for (User user : users.values()) {
        refuseWaiting(user, UserThreadException.closed(user.name));
        for (UserWorker worker = user.idle.poll(); worker != null; worker = user.idle.poll()) {
          worker.dismiss();
        }
      }
      kept.clear();
      starter.stop();
    } finally {
      lock.unlock();
    }
  }

  /** Waits until all threads have ended; false if some have not in time. */
  boolean awaitEnd(long nanos) throws InterruptedException {
    lock.lockInterruptibly();
    try {
      long left = nanos;
      while (!workers.isEmpty() && left > 0) {
        left = threadEnded.awaitNanos(left);
      }
      return workers.isEmpty();
    } finally {
      lock.unlock();
    }
  }

  /** Interrupts whatever still runs. */
  void interruptAll() {
    lock.lock();
    try {
      for (UserWorker worker : workers) {
        if (worker.thread() != null) {
          worker.thread().interrupt();
        }
      }
    } finally {
      lock.unlock();
    }
  }

  /** {@return how many threads there are, those that are starting too} */
  int threads() {
    lock.lock();
    try {
      return workers.size();
    } finally {
      lock.unlock();
    }
  }
  /** Everything there is to count here, at one moment. */
  UserThreadCounts counts() {
    UserThreadCounts counts = new UserThreadCounts();
    lock.lock();
    try {
      counts.threads = workers.size();
      counts.users = users.size();
      for (User user : users.values()) {
        counts.idle += user.idle.size();
        counts.waiting += user.waiting.size();
      }
      counts.started = started;
      counts.handed = handed;
      counts.waited = waited;
      counts.waitedNanos = waitedNanos;
    } finally {
      lock.unlock();
    }
    return counts;
  }
}
