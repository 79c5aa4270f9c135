package org.apache.hadoop.hdfs.server.namenode.zorf;

import java.io.IOException;
import java.util.concurrent.BlockingQueue;
import java.util.concurrent.ExecutionException;
import java.util.concurrent.FutureTask;
import java.util.concurrent.LinkedBlockingQueue;
import java.util.concurrent.ThreadFactory;

/**
 * Starts the threads that act as users. A thread inherits the identity of the one that starts it,
 * so this is a thread of its own, which never acts as anybody else.
 */
final class UserThreadStarter {
  private static final Runnable STOP = () -> {};

  /** Of this package, what actions may be the first to use. */
  private static final Class<?>[] OF_ACTIONS = {
    AclEntry.class,
    AclFormat.class,
    AclScope.class,
    AclTag.class,
    BlockLocations.class,
    BlockPieces.class,
    BlockRange.class,
    BoundedCache.class,
    Errno.class,
    Failures.class,
    FileStatus.class,
    FileType.class,
    LocatedFileStatus.class,
    Names.class,
    NativeObserver.class,
    StatusLayout.class,
    UserAccount.class,
    UserThreadException.class,
    ZorfFailure.class,
    ZorfFiles.class
  };

  private final ThreadFactory factory;
  private final BlockingQueue<Runnable> tasks = new LinkedBlockingQueue<>();

  UserThreadStarter(ThreadFactory factory) {
    this.factory = factory;
  }

  /**
   * Begins, unless the identity that it inherits is another than the process's.
   *
   * @param warmUp run on it first
   * @return its identity
   */
  ThreadIdentity begin(UserThreads.Action<?, ?> warmUp) throws IOException, InterruptedException {
    FutureTask<ThreadIdentity> check = new FutureTask<>(() -> prepare(warmUp));
    tasks.add(check);
    Thread thread = new Thread(this::run, "zorf-starter");
    thread.setDaemon(true);
    thread.start();
    boolean begun = false;
    try {
      ThreadIdentity identity = check.get();
      begun = true;
      return identity;
    } catch (ExecutionException e) {
      Throwable cause = e.getCause();
      if (cause instanceof RuntimeException) {
        throw (RuntimeException) cause;
      }
      throw cause instanceof IOException ? (IOException) cause : new IOException(cause);
    } finally {
      if (!begun) {
        stop();
      }
    }
  }

  private void run() {
    try {
      for (Runnable task = tasks.take(); task != STOP; task = tasks.take()) {
        task.run();
      }
    } catch (InterruptedException e) {
      throw new IllegalStateException("nobody else has this thread", e);
    }
  }

  private ThreadIdentity prepare(UserThreads.Action<?, ?> warmUp) throws Exception {
    ThreadIdentity own = ThreadIdentity.ofThisThread();
    ThreadIdentity process = ThreadIdentity.ofProcess();
    if (!own.isUnswitched() || !own.equals(process)) {
      throw new IllegalStateException(
          "made by a thread that acts as somebody else: "
              + own
              + " instead of "
              + process
              + "; make it before the first setFsUid");
    }
    if (Threads.isVirtual(factory.newThread(STOP))) {
      throw new IllegalArgumentException(
          "the thread factory makes virtual threads, which share their identities");
    }
    for (Class<?> type : OF_ACTIONS) {
      load(type);
    }
    UserCall<?> call = new UserCall<>(warmUp);
    call.run();
    call.<Exception>outcome();
    return own;
  }

  /** A class that a user may not read, loaded for the first time as that user, is missing for all. */
  private static void load(Class<?> type) throws ClassNotFoundException {
    Class.forName(type.getName());
    for (Class<?> member : type.getDeclaredClasses()) {
      load(member);
    }
  }

  /** Starts a thread, or has the worker say why not. */
  void start(UserWorker worker) {
    tasks.add(
        () -> {
          try {
            Thread thread = factory.newThread(worker);
            if (Threads.isVirtual(thread)) {
              throw new IOException("the thread factory made a virtual thread");
            }
            thread.start();
          } catch (Throwable e) { // an OutOfMemoryError where the system has no more threads
            worker.notStarted(e);
          }
        });
  }

  /** Ends the thread when it has done what it was told before. */
  void stop() {
    tasks.add(STOP);
  }
}
