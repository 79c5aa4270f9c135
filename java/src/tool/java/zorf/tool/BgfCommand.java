package zorf.tool;

import java.util.List;
import org.apache.hadoop.hdfs.server.namenode.ZORFNative;
import org.apache.hadoop.hdfs.server.namenode.zorf.FileType;
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
  void prepare() {
    if (factor != null && (factor < 1 || factor > 1024)) {
      throw misuse("--set takes 1 to 1024");
    }
  }

  @Override
  int runAsUser() {
    return each(
        paths,
        path -> {
          byte[] record = ZORFNative.getFileStatusNative(path, true);
          requireFile(path, record);
          if (factor != null) {
            ZORFNative.setBGF(path, factor);
            return;
          }
          long factor = Blocks.groupFactor(path, record);
          Output.OUT.println(Output.printable(path) + ": " + (factor == 0 ? "none" : factor));
        });
  }

  /** The library would write the factor of a directory and call it done, but never read it. */
  private static void requireFile(String path, byte[] record) {
    if (Library.layout().decode(record).type() == FileType.DIRECTORY) {
      throw new Failure(
          path + ": a directory has no block group factor, each file in it has its own");
    }
    Blocks.requireRegular(path, record);
  }
}
