package zorf.soak;

/** A kind of question that a thread asks, and what it knows about the answers. */
interface Checks {
  /** Calls a native or a few, as {@code actor}; throws if an answer is wrong. */
  void check(Actor actor) throws Exception;
}
