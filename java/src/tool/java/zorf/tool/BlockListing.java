package zorf.tool;

import java.io.PrintStream;
import java.util.Arrays;
import java.util.stream.Collectors;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockLocations;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockPolicy;

/** The blocks of one file, each with its locations, as a table or as JSON. */
final class BlockListing {
  /** What a table of all rows may have: it is kept until its columns' widths are known. */
  private static final long MAX_ROWS = 1 << 20;

  private final BlockRange range;
  private final boolean sorted;

  BlockListing(BlockRange range) {
    this.range = range;
    sorted = range.policy() == BlockPolicy.RACKAWARE_SORT;
  }

  /** A table of the first and the last blocks, of all if {@code rows} is 0. */
  Table table(int rows) {
    Table table =
        sorted
            ? new Table(">block", ">offset", "locations", "file system blocks there")
            : new Table(">block", ">offset", "locations");
    Elision shown = new Elision(rows, range.count());
    if (shown.size() > MAX_ROWS) {
      throw new Failure(
          range.path()
              + ": "
              + Sizes.count(shown.size(), "block")
              + " are too many for a table: try --rows, --offset and --length, or --json");
    }
    BlockRange.Visitor visitor = (block, piece, entry) -> {
      if (shown.shows(block)) {
        row(table, block, piece, entry);
      } else if (shown.elidesFrom(block)) {
        table.row(sorted ? new String[] {"...", "", "", ""} : new String[] {"...", "", ""});
      }
    };
    if (range.count() <= BlockRange.PIECE) {
      range.each(visitor);
    } else {
      // Those between need not be asked for, but for the one that says so.
      range.each(0, Math.min(range.count(), shown.atStart() + 1), visitor);
      range.each(Math.max(shown.atStart() + 1, shown.endFrom()), range.count(), visitor);
    }
    return table;
  }

  private void row(Table table, long block, BlockLocations piece, int entry) {
    String number = Sizes.exact(range.firstNumber() + block);
    String from = Sizes.offset(range.offset(block));
    String ids = words(piece.ids(entry));
    if (sorted) {
      table.row(number, from, ids, words(piece.secondWords(entry)));
    } else {
      table.row(number, from, ids);
    }
  }

  private static String words(int[] words) {
    return Arrays.stream(words)
        .mapToObj(word -> word == Placement.NO_LOCATION ? "-" : String.valueOf(word))
        .map(word -> Table.repeat(" ", 4 - word.length()) + word)
        .collect(Collectors.joining(" "));
  }

  /** Prints an object, as it comes: it may be longer than what fits into memory. */
  void printJson(PrintStream out) {
    Json json = new Json().object();
    json.put("path", range.path())
        .put("size", range.fileSize())
        .put("policy", range.policy().text())
        .put("offset", range.offset())
        .put("length", range.length())
        .put("blockSize", range.blockSize())
        .put("replicas", range.replicas());
    json.key("blocks").array();
    long count = range.hasLocations() ? range.count() : 0;
    // As long as there is a reader.
    for (long from = 0; from < count && !out.checkError(); from += BlockRange.PIECE) {
      range.each(from, Math.min(count, from + BlockRange.PIECE), (block, piece, entry) -> {
        json(json, block, piece, entry);
        out.print(json.take());
      });
    }
    json.end().end();
    out.println(json.take());
  }

  private void json(Json json, long block, BlockLocations piece, int entry) {
    json.object().put("offset", range.offset(block)).put("locations", piece.ids(entry));
    // Under the other policies the second words are the file system's own affair.
    if (sorted) {
      json.put("fileSystemBlocks", piece.secondWords(entry));
    }
    json.end();
  }
}
