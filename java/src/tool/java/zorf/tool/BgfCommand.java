package zorf.tool;

import java.util.List;
import org.apache.hadoop.hdfs.server.namenode.ZORFNative;
import picocli.CommandLine.Command;
import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;

@Command(
    name = "bgf",
    description = {
      "Shows or sets the block group factor of files: how many file system blocks make one HDFS"
          + " block. Files without one have the NameNode's default block size."
    },
    footer = {
      "  zorfhadoop bgf /zorf/data/events.dat",
      "  zorfhadoop bgf --set 32 /zorf/data/events.dat      32 x 4 MiB = 128 MiB"
    })
final class BgfCommand extends FileCommand {
  @Parameters(paramLabel = "PATH", arity = "1..*", description = "The files.")
  private List<String> paths;

  @Option(names = "--set", paramLabel = "FACTOR", description = "Set the factor, 1 to 1024.")
  private Integer factor;

  @Override
  int runAsUser() {
    return each(
        paths,
        path -> {
          if (factor != null) {
            ZORFNative.setBGF(path, factor);
            return;
          }
          byte[] record = ZORFNative.getFileStatusNative(path, true);
          Blocks.requireRegular(path, record);
          long factor = Blocks.groupFactor(path, record);
          Output.OUT.println(Output.printable(path) + ": " + (factor == 0 ? "none" : factor));
        });
  }
}
