package zorf.tool;

import java.io.File;
import java.io.IOException;
import java.util.Collections;
import java.util.jar.JarEntry;
import java.util.jar.JarFile;

/**
 * Loads the classes that commands use, for an archive of them which Java writes when this ends. It is
 * run where there may be no client library, so that no command can do its work.
 */
final class Preload {
  private static final String CLASS = ".class";

  private Preload() {}

  public static void main(String[] arguments) throws IOException {
    for (String jar : System.getProperty("java.class.path").split(File.pathSeparator)) {
      load(jar);
    }
    // The parsing of a command line, and the classes of Java that it takes.
    Main.main(new String[] {"status", "--help"});
  }

  private static void load(String jar) throws IOException {
    try (JarFile file = new JarFile(jar)) {
      for (JarEntry entry : Collections.list(file.entries())) {
        String name = entry.getName();
        if (name.endsWith(CLASS)) {
          name = name.substring(0, name.length() - CLASS.length()).replace('/', '.');
          try {
            // Not initialised: that would load the library.
            Class.forName(name, false, Preload.class.getClassLoader());
          } catch (ClassNotFoundException | LinkageError e) {
            // One whose own classes are not here: it can't be needed.
          }
        }
      }
    }
  }
}
