package zorf.namenode.bench;

import java.io.IOException;
import java.io.Reader;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Locale;
import java.util.Properties;
import org.apache.hadoop.util.VersionInfo;

/** The tables of the documentation, out of the figures of both NameNodes. */
public final class Page {
  private static final double MEBI = 1 << 20;
  /** Of heap, for a file: what two collections differ by anyway. */
  private static final double SMALL = 10;

  private final Properties apache;
  private final Properties zorf;
  private final StringBuilder out = new StringBuilder();

  private Page(Properties apache, Properties zorf) {
    this.apache = apache;
    this.zorf = zorf;
  }

  /**
   * Prints the tables.
   *
   * @param arguments the folder of the figures
   */
  public static void main(String... arguments) throws IOException {
    Path folder = Path.of(arguments[0]);
    Page page =
        new Page(
            figures(folder.resolve("apache.properties")),
            figures(folder.resolve("zorf.properties")));
    page.machine();
    page.targets();
    page.throughput();
    page.loads();
    page.large();
    page.memory();
    System.out.print(page.out);
  }

  private static Properties figures(Path file) throws IOException {
    Properties figures = new Properties();
    try (Reader in = Files.newBufferedReader(file)) {
      figures.load(in);
    }
    return figures;
  }

  private static double of(Properties figures, String key) {
    return Double.parseDouble(figures.getProperty(key));
  }

  private void line(String format, Object... values) {
    out.append(String.format(Locale.ROOT, format, values)).append('\n');
  }

  private void machine() throws IOException {
    String processor =
        Files.readAllLines(Path.of("/proc/cpuinfo")).stream()
            .filter(each -> each.startsWith("model name"))
            .map(each -> each.replaceAll(".*: ", ""))
            .findFirst()
            .orElse("?");
    line(
        "Made by `./dev namenode bench` on %s: %d cores of %s,\n"
            + "Linux %s, files on tmpfs, JDK %s, Hadoop %s,\nload average %s at the start of"
            + " Apache's part and %s at that of this one's.",
        zorf.getProperty("machine.date"),
        Runtime.getRuntime().availableProcessors(),
        processor,
        System.getProperty("os.version"),
        System.getProperty("java.version"),
        VersionInfo.getVersion(),
        apache.getProperty("machine.load"),
        zorf.getProperty("machine.load"));
  }

  private void targets() {
    double files = of(zorf, "files");
    line("\n|  | wanted | measured | reached |\n|---|---:|---:|---:|");
    atLeast("`getFileInfo`, 8 clients: calls/s, of Apache's", 0.7, ratio("getFileInfo.8.1.rate"));
    atLeast("the same, 32 clients of 16 users", 0.7, ratio("getFileInfo.32.16.rate"));
    String listing = "getListing of 1,000.1.1.p50";
    double find = of(zorf, "find.flat") / files * 1e9;
    atMost(
        "`getListing` of 1,000 against `find` and Apache's call",
        "ms",
        (find + of(apache, listing)) / 1000,
        of(zorf, listing) / 1000);
    atMost(
        "a directory of %,.0f against `find` and Apache's calls".formatted(files),
        "s",
        of(zorf, "find.flat") + of(apache, "flat.all"),
        of(zorf, "flat.all"));
    atMost(
        "`-count` of %,.0f against `find` and a call".formatted(files),
        "s",
        of(zorf, "find.tree") + of(apache, "getFileInfo.1.1.p50") / 1e6,
        of(zorf, "count"));
    atMost("heap that a file takes", "bytes", SMALL, perFile(zorf));
    atMost("99 of 100 calls at half load", "ms", 10, of(zorf, "half.32.16.p99") / 1000);
  }

  private void atLeast(String what, double wanted, double measured) {
    line("| %s | ≥ %.2f | %.2f | %s |", what, wanted, measured, reached(measured >= wanted));
  }

  private void atMost(String what, String unit, double wanted, double measured) {
    line("| %s | ≤ %.2f %s | %.2f %s | %s |", what, wanted, unit, measured, unit,
        reached(measured <= wanted));
  }

  private static String reached(boolean reached) {
    return reached ? "yes" : "**no**";
  }

  private double ratio(String key) {
    return of(zorf, key) / of(apache, key);
  }

  private static double perFile(Properties figures) {
    return (of(figures, "heap.tree") - of(figures, "heap.before")) * MEBI / of(figures, "files");
  }

  private void throughput() {
    line("\n## NNThroughputBenchmark\n");
    line("Operations per second, 8 threads, as the superuser.\n");
    line("| operation | Apache's | zorf's | zorf's / Apache's |\n|---|---:|---:|---:|");
    for (String operation : Throughput.OPERATIONS) {
      String key = "throughput." + operation;
      line("| `%s` | %,.0f | %,.0f | %.2f |", operation, of(apache, key), of(zorf, key), ratio(key));
    }
  }

  private void loads() {
    line("\n## Many clients at once\n");
    line("Apache's first, then zorf's; times in milliseconds.\n");
    line(
        "| asked | clients | users | calls/s | ratio | half within | 99 %% | 99.9 %% |"
            + " processor, µs a call | RSS, MiB |");
    line("|---|---:|---:|---:|---:|---:|---:|---:|---:|---:|");
    for (Bench.Row row : Bench.ROWS) {
      load(row, row.name().replaceFirst("(get\\w+)", "`$1`"));
    }
    load(Bench.HALF, "mix, at half of what each reached");
  }

  private void load(Bench.Row row, String name) {
    line(
        "| %s | %d | %d | %s | %.2f | %s | %s | %s | %s | %s |",
        name,
        row.clients(),
        row.users(),
        both("%,.0f", row.key() + ".rate", 1),
        ratio(row.key() + ".rate"),
        both("%,.2f", row.key() + ".p50", 1000),
        both("%,.1f", row.key() + ".p99", 1000),
        both("%,.1f", row.key() + ".p999", 1000),
        both("%,.0f", row.key() + ".cpu", 1),
        both("%,.0f", row.key() + ".rss", 1));
  }

  private String both(String format, String key, double unit) {
    return String.format(Locale.ROOT, format, of(apache, key) / unit)
        + ", "
        + String.format(Locale.ROOT, format, of(zorf, key) / unit);
  }

  private void large() {
    double files = of(zorf, "files");
    line("\n## Many files\n");
    line(
        "%,.0f files in directories of 1,000, and as many in one directory. Seconds.\n", files);
    line("|  | Apache's | zorf's | `find` on this host |\n|---|---:|---:|---:|");
    seconds("`-count`", "count", "find.tree");
    seconds("`-ls -R`", "lsr.1", "find.tree");
    seconds("four `-ls -R` at once, each of another user", "lsr.4", null);
    seconds("all pages of the large directory", "flat.all", "find.flat");
    seconds("its first page", "flat.first", null);
  }

  private void seconds(String what, String key, String find) {
    line(
        "| %s | %.3f | %.3f | %s |",
        what,
        of(apache, key),
        of(zorf, key),
        find == null ? "-" : String.format(Locale.ROOT, "%.3f", of(zorf, find)));
  }

  private void memory() {
    line("\n## Memory\n");
    line("MiB; the heap's is what is left after a collection.\n");
    line("| files | Apache's heap | RSS | zorf's heap | RSS |\n|---:|---:|---:|---:|---:|");
    double files = of(zorf, "files");
    memory("none", "start");
    memory("%,d, after all of the above loads".formatted(Client.DIRECTORIES * Client.FILES), "before");
    memory("%,.0f more".formatted(files), "tree");
    memory("%,.0f more, in a directory just listed".formatted(files), "flat");
    line(
        "\nThat is %.0f bytes of heap a file for Apache's, and %.0f for zorf's.",
        perFile(apache), perFile(zorf));
  }

  private void memory(String what, String key) {
    line(
        "| %s | %.0f | %.0f | %.0f | %.0f |",
        what,
        of(apache, "heap." + key),
        of(apache, "rss." + key),
        of(zorf, "heap." + key),
        of(zorf, "rss." + key));
  }
}
