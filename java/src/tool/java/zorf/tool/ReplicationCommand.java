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
  private static final String REFUSED = "Invalid argument";

  @Parameters(paramLabel = "PATH", arity = "1..*", description = "The files.")
  private List<String> paths;

  @Option(names = "--set", paramLabel = "COUNT", description = "Set the replica count; the file system knows how many it has room for.")
  private Integer count;

  @Option(
      names = "--restripe",
      description = "With --set: move the data that is there already at once, too.")
  private boolean restripe;

  @Override
  void prepare() {
    if (restripe && count == null) {
      throw misuse("--restripe goes with --set");
    }
    if (count != null && (count < 1 || count > Short.MAX_VALUE)) {
      throw misuse("--set takes 1 to " + Short.MAX_VALUE);
    }
  }

  @Override
  int runAsUser() {
    return count == null ? each(paths, this::show) : change(paths, this::set);
  }

  private void show(String path) {
    int replicas = Blocks.sizes(path, Blocks.DEFAULT_BLOCK_SIZE, Blocks.regular(path)).replicaCount();
    Output.OUT.println(
        json
            ? new Json().object().put("path", path).put("replicas", replicas).end().toString()
            : Output.printable(path) + ": " + replicas);
  }

  private void set(String path) {
    Blocks.regular(path);
    try {
      ZORFNative.setReplication(path, count.shortValue(), restripe);
    } catch (Exception e) {
      if (Failure.systemText(e).equals(REFUSED)) {
        throw new Failure(
            path + ": the file system takes no replica count of " + count + ": " + REFUSED, e);
      }
      throw e;
    }
  }
}
