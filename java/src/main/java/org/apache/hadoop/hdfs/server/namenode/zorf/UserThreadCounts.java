package org.apache.hadoop.hdfs.server.namenode.zorf;

import java.util.Arrays;
import java.util.concurrent.TimeUnit;

/**
 * How busy {@link UserThreads} are, at one moment, and what they have done since they were made.
 * Numbers that are read one after the other fit each other only within one such object.
 */
public final class UserThreadCounts {
  int threads;
  int idle;
  int users;
  int waiting;
  long started;
  long handed;
  long waited;
  long waitedNanos;
  long asNobody;
  long[] refused;

  UserThreadCounts() {}

  /** {@return how many threads there are, those that are starting too} */
  public int threads() {
    return threads;
  }

  /** {@return how many of the threads have nothing to do} */
  public int idle() {
    return idle;
  }

  /** {@return how many users have a thread or a call that waits} */
  public int users() {
    return users;
  }

  /** {@return how many calls wait for a thread} */
  public int waiting() {
    return waiting;
  }

  /** {@return how many threads were started} */
  public long started() {
    return started;
  }

  /** {@return how many calls were handed to a thread, those that waited before too} */
  public long handed() {
    return handed;
  }

  /** {@return how many calls waited before they were handed to a thread} */
  public long waited() {
    return waited;
  }

  /** {@return how long these waited in all, in nanoseconds} */
  public long waitedNanos() {
    return waitedNanos;
  }

  /** {@return how many calls of users unknown to the host ran as {@code nobody}} */
  public long asNobody() {
    return asNobody;
  }

  /**
   * How many calls were refused.
   *
   * @param reason why
   * @return their number
   */
  public long refused(UserThreadException.Reason reason) {
    return refused[reason.ordinal()];
  }

  /** {@return all numbers, in words} */
  @Override
  public String toString() {
    return threads
        + " threads of "
        + users
        + " users, "
        + idle
        + " idle; "
        + handed
        + " calls, "
        + waited
        + " of them waited "
        + TimeUnit.NANOSECONDS.toMillis(waitedNanos)
        + " ms, "
        + waiting
        + " wait, refused "
        + Arrays.toString(refused);
  }
}
