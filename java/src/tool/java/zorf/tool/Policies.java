package zorf.tool;

import java.util.Arrays;
import java.util.Iterator;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockPolicy;
import picocli.CommandLine.ITypeConverter;
import picocli.CommandLine.TypeConversionException;

/** The placement policies by name. */
final class Policies implements ITypeConverter<BlockPolicy>, Iterable<String> {
  @Override
  public BlockPolicy convert(String text) {
    // The library would take the start of a name as well; that would hide typing errors here.
    for (BlockPolicy policy : BlockPolicy.values()) {
      if (policy.text().equals(text)) {
        return policy;
      }
    }
    throw new TypeConversionException("'" + text + "' is none of " + String.join(", ", names()));
  }

  private static String[] names() {
    return Arrays.stream(BlockPolicy.values()).map(BlockPolicy::text).toArray(String[]::new);
  }

  @Override
  public Iterator<String> iterator() {
    return Arrays.asList(names()).iterator();
  }
}
