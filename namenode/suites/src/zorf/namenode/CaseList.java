package zorf.namenode;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.TreeMap;
import java.util.stream.Collectors;

/**
 * The list of all cases with what must come of each: lines of suite, case, expectation and, unless it
 * passes, why.
 */
final class CaseList {
  private static final String UNEXPLAINED = "?";

  /** What must come of a case. All but the first must fail, or be skipped by the suite itself. */
  enum Expected {
    PASS("pass"),
    DIFFERS("differs"),
    DATA("needs file data"),
    NOT_APPLICABLE("not applicable");

    final String text;

    Expected(String text) {
      this.text = text;
    }

    static Expected of(String text) throws IOException {
      for (Expected expected : values()) {
        if (expected.text.equals(text)) {
          return expected;
        }
      }
      throw new IOException("no expectation: " + text);
    }
  }

  private record Entry(Expected expected, String why) {}

  private final List<String> head = new ArrayList<>();
  private final Map<String, Map<String, Entry>> suites = new TreeMap<>();

  static CaseList read(Path file) throws IOException {
    CaseList list = new CaseList();
    for (String line : Files.readAllLines(file)) {
      if (line.startsWith("#")) {
        list.head.add(line);
        continue;
      }
      String[] fields = line.split("\t", -1);
      if (fields.length != 4 || (fields[3].isEmpty() != fields[2].equals("pass"))) {
        throw new IOException(file + ": not suite, case, expectation, why: " + line);
      }
      list.put(fields[0], fields[1], new Entry(Expected.of(fields[2]), fields[3]));
    }
    return list;
  }

  private void put(String suite, String name, Entry entry) throws IOException {
    if (suites.computeIfAbsent(suite, s -> new LinkedHashMap<>()).put(name, entry) != null) {
      throw new IOException("twice: " + suite + " " + name);
    }
  }

  /** Takes the cases of another list from there. */
  void except(CaseList exceptions) {
    exceptions.suites.forEach((suite, cases) -> suites.get(suite).putAll(cases));
  }

  void write(Path file) throws IOException {
    List<String> lines = new ArrayList<>(head);
    suites.forEach(
        (suite, cases) ->
            cases.forEach(
                (name, entry) ->
                    lines.add(String.join("\t", suite, name, entry.expected.text, entry.why))));
    Files.write(file, lines);
  }

  /** Takes what was seen for what must come; who records gives the reasons by hand. */
  void record(List<Suites.Ran> ran) {
    for (Suites.Ran one : ran) {
      Map<String, Entry> cases = suites.computeIfAbsent(one.suite(), s -> new LinkedHashMap<>());
      Entry before = cases.get(one.name());
      if (one.outcome() == Suites.Outcome.PASSED) {
        cases.put(one.name(), new Entry(Expected.PASS, ""));
      } else if (before == null || before.expected == Expected.PASS) {
        boolean skipped = one.outcome() == Suites.Outcome.SKIPPED;
        cases.put(
            one.name(),
            new Entry(
                skipped ? Expected.NOT_APPLICABLE : Expected.DIFFERS,
                (skipped ? "the suite skips it: " : UNEXPLAINED + " ") + one.why()));
      }
    }
  }

  /** {@return a line for each case of a suite that has not come out as listed} */
  List<String> changes(List<Suites.Ran> ran) {
    List<String> changes = new ArrayList<>();
    Set<String> seen = ran.stream().map(Suites.Ran::name).collect(Collectors.toSet());
    String suite = ran.isEmpty() ? "" : ran.get(0).suite();
    Map<String, Entry> cases = suites.getOrDefault(suite, Map.of());
    for (Suites.Ran one : ran) {
      Entry entry = cases.get(one.name());
      String name = suite + " " + one.name();
      if (entry == null) {
        changes.add(name + ": not in the list; " + one.outcome() + " " + one.why());
      } else if ((entry.expected == Expected.PASS) != (one.outcome() == Suites.Outcome.PASSED)) {
        changes.add(
            name + ": listed as " + entry.expected.text + ", but " + one.outcome() + " " + one.why());
      } else if (entry.why.startsWith(UNEXPLAINED)) {
        changes.add(name + ": listed without a reason");
      }
    }
    for (String name : cases.keySet()) {
      if (!seen.contains(name)) {
        changes.add(suite + " " + name + ": listed, but did not run");
      }
    }
    return changes;
  }

  /** {@return a suite's line of the table} */
  String line(List<Suites.Ran> ran, long seconds) {
    String suite = ran.isEmpty() ? "" : ran.get(0).suite();
    Map<Expected, Long> counts =
        suites.getOrDefault(suite, Map.of()).values().stream()
            .collect(Collectors.groupingBy(Entry::expected, Collectors.counting()));
    long passed = ran.stream().filter(one -> one.outcome() == Suites.Outcome.PASSED).count();
    StringBuilder line = new StringBuilder();
    line.append(String.format("%-42s %4d cases, %4d pass", suite, ran.size(), passed));
    for (Expected expected : Expected.values()) {
      if (expected != Expected.PASS && counts.containsKey(expected)) {
        line.append(", ").append(counts.get(expected)).append(' ').append(expected.text);
      }
    }
    return line.append("; ").append(seconds).append(" s").toString();
  }
}
