package zorf.namenode;

/** Hears of every remote call when it has ended, on the thread that answers the client. */
interface CallObserver {
  /** One that does not care. */
  CallObserver NONE = call -> {};

  /** A call has ended. What this throws is logged and changes nothing for the client. */
  void ended(EndedCall call);

  /**
   * A remote call that has ended.
   *
   * @param method its name, such as "getFileInfo"
   * @param arguments what the client gave; not to be changed
   * @param caller who asked
   * @param nanos how long it took, waiting for a thread of the user included
   * @param result the answer; null where there is none, and for a failure
   * @param failure what the client is told instead of an answer, else null
   */
  record EndedCall(
      String method,
      Object[] arguments,
      Caller caller,
      long nanos,
      Object result,
      Throwable failure) {}
}
