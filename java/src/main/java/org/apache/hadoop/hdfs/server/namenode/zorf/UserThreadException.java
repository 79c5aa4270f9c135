package org.apache.hadoop.hdfs.server.namenode.zorf;

import java.io.IOException;

/** A call that {@link UserThreads} did not run. Nothing of it has happened. */
public final class UserThreadException extends IOException {
  private static final long serialVersionUID = 1L;

  /** Why a call was not run. */
  public enum Reason {
    /** The host has no such user. */
    UNKNOWN_USER,
    /** No thread could be made to act as the user; what it would have acted as is in the message. */
    REFUSED,
    /** No thread was free in time, or too many calls of the user waited already. */
    BUSY,
    /** The threads are closed. */
    CLOSED
  }

  /** Why. */
  private final Reason reason;

  /** Of whom. */
  private final String user;

  private UserThreadException(Reason reason, String user, String message, Throwable cause) {
    super(message, cause);
    this.reason = reason;
    this.user = user;
  }

  static UserThreadException unknownUser(String user) {
    return new UserThreadException(
        Reason.UNKNOWN_USER, user, "this host has no user \"" + user + "\"", null);
  }

  static UserThreadException refused(String user, String why, Throwable cause) {
    return new UserThreadException(
        Reason.REFUSED, user, "no thread can act as \"" + user + "\": " + why, cause);
  }

  static UserThreadException busy(String user, String why) {
    return new UserThreadException(
        Reason.BUSY, user, "no thread is free for \"" + user + "\": " + why, null);
  }

  static UserThreadException closed(String user) {
    return new UserThreadException(
        Reason.CLOSED, user, "the threads are closed, also to \"" + user + "\"", null);
  }

  /** The same for another of the calls that it ends: an exception belongs to one thread. */
  UserThreadException copy() {
    return new UserThreadException(reason, user, getMessage(), getCause());
  }

  /** {@return why the call was not run} */
  public Reason reason() {
    return reason;
  }

  /** {@return the user whose call it was} */
  public String user() {
    return user;
  }
}
