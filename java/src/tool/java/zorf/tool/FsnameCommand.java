package zorf.tool;

import java.nio.file.Paths;
import java.util.ArrayList;
import java.util.List;
import org.apache.hadoop.hdfs.server.namenode.ZORFNative;
import picocli.CommandLine.Command;
import picocli.CommandLine.Parameters;

@Command(
    name = "fsname",
    description = "Shows the names of the zorf file systems that are mounted at directories.",
    footer = {
      "  zorfhadoop fsname /zorf",
      "  zorfhadoop fsname      all that are mounted"
    })
final class FsnameCommand extends ToolCommand {
  @Parameters(
      paramLabel = "MOUNTPOINT",
      arity = "0..*",
      description = "Where they are mounted (default: all zorf mounts).")
  private List<String> mountPoints = new ArrayList<>();

  @Override
  int run() throws Exception {
    Library.load();
    List<String> asked = mountPoints;
    if (asked.isEmpty()) {
      asked = new ArrayList<>();
      for (ProcessFacts.Mount mount : ProcessFacts.zorfMounts()) {
        asked.add(mount.directory);
      }
      if (asked.isEmpty()) {
        throw new Failure("no zorf file system is mounted");
      }
    }
    return each(
        asked,
        path -> {
          String name = name(path);
          Output.OUT.println(
              json
                  ? new Json().object().put("path", path).put("name", name).end().toString()
                  : Output.printable(name + " on " + path));
        });
  }

  private static String name(String mountPoint) {
    // The library compares with the mount table byte by byte, so "/zorf/" would not be "/zorf".
    String directory = Paths.get(mountPoint).toAbsolutePath().normalize().toString();
    try {
      return ZORFNative.getFsName(directory);
    } catch (Exception e) {
      throw new Failure(mountPoint + ": no zorf file system is mounted there", e);
    }
  }
}
