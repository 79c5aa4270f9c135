package zorf.tool;

import java.util.List;
import org.apache.hadoop.hdfs.server.namenode.ZORFNative;
import org.apache.hadoop.hdfs.server.namenode.zorf.FileStatus;
import org.apache.hadoop.hdfs.server.namenode.zorf.FileType;
import picocli.CommandLine.Command;
import picocli.CommandLine.Parameters;

@Command(
    name = "chmod",
    description = {
      "Sets the permission bits of files, as chmod(1) does; but set-user-id and set-group-id can"
          + " only be taken away."
    },
    footer = {
      "  zorfhadoop chmod 750 /zorf/data",
      "  zorfhadoop chmod -R u+rwX,g-w,o= /zorf/data",
      "  zorfhadoop chmod a=rwx,+t /zorf/tmp"
    })
final class ChmodCommand extends TreeCommand {
  @Parameters(
      index = "0",
      paramLabel = "MODE",
      description =
          "Octal, or changes such as u+rwX,g-w,o=: whose (u, g, o, a), then +, - or =, then r, w,"
              + " x, X (x for directories and where somebody has x), t (sticky), s, or one of u, g,"
              + " o to copy from.")
  private String words;

  @Parameters(index = "1..*", paramLabel = "PATH", arity = "1..*", description = "What to change.")
  private List<String> paths;

  private Mode mode;

  @Override
  void prepare() {
    try {
      mode = new Mode(words, ProcessFacts::umask);
    } catch (IllegalArgumentException e) {
      throw misuse(e.getMessage());
    }
    if (mode.setsId()) {
      // The library would drop these bits and call it done.
      throw misuse(words + ": set-user-id and set-group-id can't be set this way");
    }
  }

  @Override
  int runAsUser() {
    return change(paths, this::change);
  }

  private void change(String path) {
    FileStatus status = AclCommand.status(path);
    int bits = mode.of(status.permission(), status.type() == FileType.DIRECTORY);
    if ((bits & Mode.SET_ID) != 0) {
      throw new Failure(
          path + ": set-user-id and set-group-id can't be kept this way; \"ug-s\" takes them away");
    }
    ZORFNative.setPermission(path, (short) bits);
  }
}
