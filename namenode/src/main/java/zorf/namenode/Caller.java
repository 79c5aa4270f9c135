package zorf.namenode;

/**
 * Who asks, for the time of one call.
 *
 * @param user the short name
 * @param host the client's address, null for a call from within the process
 * @param superuser whether the caller may do anything
 */
record Caller(String user, String host, boolean superuser) {
  private static final ThreadLocal<Caller> CURRENT = new ThreadLocal<>();

  /** {@return who asks on this thread} */
  static Caller current() {
    Caller caller = CURRENT.get();
    if (caller == null) {
      throw new IllegalStateException("no call runs on this thread");
    }
    return caller;
  }

  /** What a call does. */
  @FunctionalInterface
  interface Work {
    Object run() throws Exception;
  }

  /** Runs a call of this caller on the calling thread. */
  Object during(Work work) throws Exception {
    Caller before = CURRENT.get();
    CURRENT.set(this);
    try {
      return work.run();
    } finally {
      CURRENT.set(before);
    }
  }
}
