package org.apache.hadoop.hdfs.server.namenode.zorf;

import java.util.concurrent.locks.LockSupport;

/** A call on its way from the thread that waits for it to one that acts as the user, and back. */
final class UserCall<T> {
  private final UserThreads.Action<T, ?> action;
  private final Thread caller = Thread.currentThread();

  /** Guarded by the dispatcher's lock. */
  long waitingSince;

  private Thread runner;
  private boolean interrupted;
  private T result;
  private Throwable failure;
  private UserThreadException refusal;
  private volatile boolean done;

  UserCall(UserThreads.Action<T, ?> action) {
    this.action = action;
  }

  /** Runs the action on the calling thread. */
  void run() {
    synchronized (this) {
      runner = Thread.currentThread();
      Thread.interrupted(); // whatever the thread's last call left behind
      if (interrupted) {
        runner.interrupt();
      }
    }
    try {
      result = action.run();
    } catch (Throwable e) {
      failure = e;
    }
  }

  /** Ends the call without running it. */
  void refuse(UserThreadException why) {
    refusal = why;
    finish();
  }

  /** Wakes the caller. */
  void finish() {
    synchronized (this) {
      runner = null;
      done = true;
    }
    LockSupport.unpark(caller);
  }

  /** Interrupts the action, or has it start interrupted. Without effect on any later call. */
  synchronized void interrupt() {
    interrupted = true;
    if (runner != null) {
      runner.interrupt();
    }
  }

  boolean isDone() {
    return done;
  }

  /** The exception of a call that is done but was not run, else null. */
  UserThreadException refusal() {
    return refusal;
  }

  /** What the action returned or threw. */
  <E extends Exception> T outcome() throws E {
    if (failure != null) {
      throw UserCall.<E>asDeclared(failure);
    }
    return result;
  }

  /** Errors, and exceptions that natives throw without declaring them, pass as what they are. */
  @SuppressWarnings("unchecked")
  private static <E extends Throwable> E asDeclared(Throwable failure) throws E {
    throw (E) failure;
  }
}
