package zorf.bench;

import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.util.Arrays;

/** What the benchmark program calls to get at its loops. */
final class Harness {
  private Harness() {}

  /** The loops of a class: its static methods {@code (int calls, int thread)}. */
  static String[] loops(Class<?> cls) {
    Class<?>[] types = {int.class, int.class};
    return Arrays.stream(cls.getDeclaredMethods())
        .filter(method -> Modifier.isStatic(method.getModifiers()) && !method.isSynthetic())
        .filter(method -> Arrays.equals(method.getParameterTypes(), types))
        .map(Method::getName)
        .sorted()
        .toArray(String[]::new);
  }
}
