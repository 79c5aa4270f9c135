package zorf.tool;

import org.apache.hadoop.hdfs.server.namenode.zorf.LibraryVersion;
import picocli.CommandLine.IVersionProvider;

/** What --version says. */
final class Version implements IVersionProvider {
  @Override
  public String[] getVersion() {
    return new String[] {"zorfhadoop " + LibraryVersion.ofJar()};
  }
}
