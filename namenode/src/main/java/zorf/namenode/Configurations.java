package zorf.namenode;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.hdfs.HdfsConfiguration;

/** Reads Hadoop's own configuration files. */
final class Configurations {
  private static final List<String> NAMES = List.of("core-site.xml", "hdfs-site.xml");

  private Configurations() {}

  /**
   * Reads files over Hadoop's defaults.
   *
   * @param paths files, or directories with files of the usual names; later ones win
   * @throws IOException if one is missing or is no configuration
   */
  static Configuration read(List<Path> paths) throws IOException {
    HdfsConfiguration.init();
    Configuration configuration = new HdfsConfiguration();
    for (Path path : paths) {
      boolean found = false;
      for (String name : Files.isDirectory(path) ? NAMES : List.of("")) {
        Path file = name.isEmpty() ? path : path.resolve(name);
        if (Files.isRegularFile(file)) {
          configuration.addResource(file.toUri().toURL());
          found = true;
        }
      }
      if (!found) {
        throw new IOException(path + " is no configuration file, nor a directory with one");
      }
    }
    try {
      configuration.size(); // reads them
    } catch (RuntimeException e) {
      throw new IOException("a configuration file is damaged: " + e.getMessage(), e);
    }
    return configuration;
  }
}
