package org.apache.hadoop.hdfs.server.namenode.zorf;

import java.lang.reflect.Method;

/** What Java 8 can't say of a newer Java's threads. */
final class Threads {
  private static final Method IS_VIRTUAL = isVirtualMethod();

  private Threads() {}

  private static Method isVirtualMethod() {
    try {
      return Thread.class.getMethod("isVirtual");
    } catch (NoSuchMethodException e) {
      return null; // there are none
    }
  }

  static boolean isVirtual(Thread thread) {
    try {
      return IS_VIRTUAL != null && (Boolean) IS_VIRTUAL.invoke(thread);
    } catch (ReflectiveOperationException e) {
      throw new IllegalStateException(e);
    }
  }
}
