package org.apache.hadoop.hdfs.server.namenode.zorf;

/** Hears how long natives take, see {@link ZorfFiles#observe}. */
@FunctionalInterface
public interface NativeObserver {
  /**
   * A native has ended, on the thread that called it and as whoever that acts. What this throws is
   * thrown in place of the native's result, so it should throw nothing; and it is to open no file.
   *
   * @param name the name of the native
   * @param nanos how long it took, in nanoseconds
   */
  void ended(String name, long nanos);
}
