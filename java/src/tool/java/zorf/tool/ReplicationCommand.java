package zorf.tool;

import java.util.List;
import org.apache.hadoop.hdfs.server.namenode.ZORFNative;
import picocli.CommandLine.Command;
import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;

@Command(
    name = "replication",
    description = "Shows how many replicas files have, or sets how many they shall have.",
    footer = {
      "  zorfhadoop replication /zorf/data/events.dat",
      "  zorfhadoop replication --set 3 /zorf/data/events.dat",
      "  zorfhadoop replication --set 3 --restripe /zorf/data/events.dat"
    })
final class ReplicationCommand extends FileCommand {
  @Parameters(paramLabel = "PATH", arity = "1..*", description = "The files.")
  private List<String> paths;

  @Option(names = "--set", paramLabel = "COUNT", description = "Set the replica count.")
  private Short count;

  @Option(
      names = "--restripe",
      description = "With --set: move the data that is there already at once, too.")
  private boolean restripe;

  @Override
  void prepare() {
    if (restripe && count == null) {
      throw misuse("--restripe goes with --set");
    }
  }

  @Override
  int runAsUser() {
    return each(
        paths,
        path -> {
          if (count != null) {
            ZORFNative.setReplication(path, count, restripe);
            return;
          }
          byte[] record = ZORFNative.getFileStatusNative(path, true);
          Blocks.requireRegular(path, record);
          Output.OUT.println(Output.printable(path) + ": " + Blocks.replicas(path, record));
        });
  }
}
