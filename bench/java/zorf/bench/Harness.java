package zorf.bench;

import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.net.URL;
import java.net.URLClassLoader;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.nio.file.StandardCopyOption;
import java.util.ArrayList;
import java.util.List;

/** What the benchmark program calls to get at its loops. */
final class Harness {
  private Harness() {}

  /**
   * The class {@code name} in a class loader of its own, with a copy of the library of its own that was
   * loaded under a log of {@code level}: one process can compare levels that way.
   */
  static Class<?> loadAtLevel(
      String name, int level, String jars, String library, String scratch) throws Exception {
    Path copy = Paths.get(scratch, "libzorfhadoop-" + level + ".so");
    Files.copy(Paths.get(library), copy, StandardCopyOption.REPLACE_EXISTING);
    DroppingLog.level = level;
    System.setProperty("zorf.library", copy.toString());
    List<URL> urls = new ArrayList<>();
    for (String jar : jars.split(":")) {
      urls.add(Paths.get(jar).toUri().toURL());
    }
    ClassLoader loader = new Isolating(urls.toArray(new URL[0]), Harness.class.getClassLoader());
    Class.forName("org.apache.hadoop.hdfs.server.namenode.ZORFNative", true, loader);
    return Class.forName(name, true, loader);
  }

  /** The loops of a class: its static methods {@code (int calls, int thread)}. */
  static String[] loops(Class<?> cls) {
    List<String> names = new ArrayList<>();
    for (Method method : cls.getDeclaredMethods()) {
      Class<?>[] types = method.getParameterTypes();
      if (Modifier.isStatic(method.getModifiers())
          && !Modifier.isPrivate(method.getModifiers())
          && !method.isSynthetic()
          && types.length == 2
          && types[0] == int.class
          && types[1] == int.class) {
        names.add(method.getName());
      }
    }
    names.sort(null);
    return names.toArray(new String[0]);
  }

  /** Looks into its own jars first, but shares the log and the data set with everybody. */
  private static final class Isolating extends URLClassLoader {
    Isolating(URL[] urls, ClassLoader parent) {
      super(urls, parent);
    }

    @Override
    protected Class<?> loadClass(String name, boolean resolve) throws ClassNotFoundException {
      synchronized (getClassLoadingLock(name)) {
        Class<?> found = findLoadedClass(name);
        if (found == null && (name.endsWith(".ZORFNative") || name.endsWith(".NativeLoops"))) {
          found = findClass(name);
        }
        return found != null ? found : super.loadClass(name, resolve);
      }
    }
  }
}
