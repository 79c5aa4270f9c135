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
    return factor == null ? each(paths, this::show) : change(paths, this::set);
  }

  private void show(String path) {
    byte[] record = requireFile(path);
    long factor = Blocks.groupFactor(path, record);
    if (json) {
      Json object = new Json().object().put("path", path).key("blockGroupFactor");
      Output.OUT.println((factor == 0 ? object.value(null) : object.value(factor)).end());
    } else {
      Output.OUT.println(Output.printable(path) + ": " + (factor == 0 ? "none" : factor));
    }
  }

  private void set(String path) {
    requireFile(path);
    ZORFNative.setBGF(path, factor);
  }

  /** The library would write the factor of a directory and call it done, but never read it. */
  private static byte[] requireFile(String path) {
    byte[] record = ZORFNative.getFileStatusNative(path, true);
    if (Library.layout().decode(record).type() == FileType.DIRECTORY) {
      throw new Failure(
          path + ": a directory has no block group factor, each file in it has its own");
    }
    Blocks.requireRegular(path, record);
    return record;
  }
}
