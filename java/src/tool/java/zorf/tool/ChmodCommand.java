package zorf.tool;

import java.util.List;
import org.apache.hadoop.hdfs.server.namenode.ZORFNative;
import picocli.CommandLine.Command;
import picocli.CommandLine.Parameters;

@Command(
    name = "chmod",
    description = "Sets the permission bits of files.",
    footer = {"  zorfhadoop chmod 750 /zorf/data", "  zorfhadoop chmod 1777 /zorf/tmp"})
final class ChmodCommand extends FileCommand {
  private static final int SETTABLE = 01777;

  @Parameters(
      index = "0",
      paramLabel = "MODE",
      description = "Octal: the nine permission bits, and 1000 for the sticky bit.")
  private String mode;

  @Parameters(index = "1..*", paramLabel = "PATH", arity = "1..*", description = "What to change.")
  private List<String> paths;

  private short permission;

  @Override
  void prepare() {
    if (!mode.matches("[0-7]{1,5}")) {
      throw misuse("'" + mode + "' is no octal mode");
    }
    int bits = Integer.parseInt(mode, 8);
    if ((bits & ~SETTABLE) != 0) {
      // The library would drop these bits and call it done.
      throw misuse(mode + ": set-user-id and set-group-id can't be set this way");
    }
    permission = (short) bits;
  }

  @Override
  int runAsUser() {
    return each(paths, path -> ZORFNative.setPermission(path, permission));
  }
}
