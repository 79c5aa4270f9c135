package org.apache.hadoop.hdfs.server.namenode.zorf;

import java.io.IOException;
import java.util.concurrent.locks.LockSupport;
import org.apache.hadoop.hdfs.server.namenode.ZORFNative;

/** The life of a thread that acts as one user. */
final class UserWorker implements Runnable {
  private final UserDispatcher dispatcher;
  private final UserDispatcher.User user;

  /** The thread that this runs on; written by itself before it can be idle. */
  private volatile Thread thread;

  /** When it ends at the latest, as System.nanoTime() counts. */
  private long expiry;

  /** When it became idle; guarded by the dispatcher's lock. */
  long idleSince;

  /** The call that it is given while idle. */
  private volatile UserCall<?> assigned;

  /** Whether it is to end; guarded by the dispatcher's lock while it is idle. */
  private volatile boolean dismissed;

  UserWorker(UserDispatcher dispatcher, UserDispatcher.User user) {
    this.dispatcher = dispatcher;
    this.user = user;
  }

  UserDispatcher.User user() {
    return user;
  }

  Thread thread() {
    return thread;
  }

  long expiry() {
    return expiry;
  }

  @Override
  public void run() {
    thread = Thread.currentThread();
    long handle = 0;
    try {
      try {
        handle = become();
      } catch (Throwable e) {
        dispatcher.notBorn(this, refusal(user.name(), e));
        return;
      }
      thread.setName(thread.getName() + " " + user.name());
      expiry = System.nanoTime() + dispatcher.maxAgeNanos();
      dispatcher.born(this);
      UserCall<?> call = dispatcher.next(this, null);
      while (call != null) {
        call.run();
        call = dispatcher.next(this, call);
      }
    } finally {
      try {
        if (handle != 0) {
          ZORFNative.setFsUid(handle); // a switch ends on its own thread, which serves nobody more
        }
      } finally {
        dispatcher.ended(this);
      }
    }
  }

  /** In place of run(): there is no thread for it. */
  void notStarted(Throwable why) {
    dispatcher.notBorn(this, refusal(user.name(), why));
    dispatcher.ended(this);
  }

  private static UserThreadException refusal(String user, Throwable e) {
    if (e instanceof UserThreadException) {
      return (UserThreadException) e;
    }
    String text = e instanceof IOException ? e.getMessage() : e.toString();
    return UserThreadException.refused(user, text, e);
  }

  /** Makes the thread act as its user, or throws; returns the handle of the switch. */
  private long become() throws IOException, InterruptedException {
    if (Threads.isVirtual(thread)) {
      throw new IOException("a virtual thread shares its identity with others");
    }
    ThreadIdentity before = ThreadIdentity.ofThisThread();
    if (!before.equals(dispatcher.ownIdentity())) {
      throw new IOException(
          "its thread began with " + before + " instead of " + dispatcher.ownIdentity());
    }
    if (dispatcher.isSuperuser(user.name())) {
      return 0;
    }
    UserAccount account = UserAccount.lookUp(user.name());
    long handle = ZORFNative.setFsUid(user.name());
    try {
      check(account);
    } catch (Throwable e) {
      ZORFNative.setFsUid(handle);
      throw e;
    }
    return handle;
  }

  private static void check(UserAccount account) throws IOException {
    ThreadIdentity now = ThreadIdentity.ofThisThread();
    if (!now.isOf(account)) {
      throw new IOException("its thread has " + now + " instead of " + account);
    }
    if (now.overridesPermissions()) {
      throw new IOException(
          "its thread keeps capabilities that pass over permissions: " + now.capabilities());
    }
  }

  /** Waits for a call, idle; null after a time or when dismissed. */
  UserCall<?> await(long deadline) {
    while (assigned == null && !dismissed) {
      long left = deadline - System.nanoTime();
      if (left <= 0) {
        return null;
      }
      LockSupport.parkNanos(this, left);
      if (assigned == null) {
        Thread.interrupted(); // it would keep the thread from sleeping
      }
    }
    return takeAssigned();
  }

  /** The call that it was given, if any. */
  UserCall<?> takeAssigned() {
    UserCall<?> call = assigned;
    assigned = null;
    return call;
  }

  /** Gives an idle thread a call; it must be woken then. */
  void assign(UserCall<?> call) {
    assigned = call;
  }

  /** Ends an idle thread. */
  void dismiss() {
    dismissed = true;
    wake();
  }

  void wake() {
    LockSupport.unpark(thread);
  }
}
