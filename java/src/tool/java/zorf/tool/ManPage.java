package zorf.tool;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Paths;
import java.util.Arrays;
import java.util.Map;
import picocli.CommandLine;
import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.Model.OptionSpec;
import picocli.CommandLine.Model.PositionalParamSpec;

/** Writes the manual page, for man(7), from what the commands say of themselves, in the build. */
final class ManPage {
  private final StringBuilder page = new StringBuilder();

  private ManPage() {}

  /** Writes the page to the file that the argument names. */
  public static void main(String[] arguments) throws IOException {
    Files.write(
        Paths.get(arguments[0]),
        new ManPage().render(Main.commandLine()).getBytes(StandardCharsets.UTF_8));
  }

  static String text() {
    return new ManPage().render(Main.commandLine());
  }

  private String render(CommandLine main) {
    CommandSpec spec = main.getCommandSpec();
    line(".TH ZORFHADOOP 1 \"\" \"" + spec.version()[0] + "\" \"User Commands\"");
    section("NAME");
    line("zorfhadoop \\- ask a zorf file system what an HDFS NameNode is told");
    section("SYNOPSIS");
    line(".B zorfhadoop");
    line(".I COMMAND");
    line("[\\fIOPTION\\fR]... [\\fIARGUMENT\\fR]...");
    section("DESCRIPTION");
    paragraphs(spec.usageMessage().description());
    section("COMMANDS");
    main.getSubcommands().values().forEach(this::command);
    section("EXIT STATUS");
    exits(spec);
    section("ENVIRONMENT");
    tagged("\\fBJAVA_HOME\\fR", "The Java to run on; otherwise the java on the PATH.");
    tagged("\\fBZORFHADOOP_LIBRARY\\fR", "The libzorfhadoop.so to load instead of the one found.");
    tagged("\\fBZORFHADOOP_OPTS\\fR", "Further options for java.");
    tagged("\\fBLD_LIBRARY_PATH\\fR", "Where else to look for the client library libzorf.so.");
    tagged(
        "\\fBZORF_TOPOLOGY\\fR",
        "The file that names the racks; see \\fBlocate\\fR. The stand-in client library reads it"
            + " as well.");
    tagged("\\fBNO_COLOR\\fR", "Not to colour on terminals, unless asked for by an option.");
    section("EXAMPLES");
    examples(spec);
    section("SEE ALSO");
    line(".BR getfacl (1),");
    line(".BR setfacl (1),");
    line(".BR getfattr (1),");
    line(".BR setfattr (1),");
    line(".BR acl (5),");
    line(".BR capabilities (7)");
    return page.toString();
  }

  private void command(CommandLine command) {
    CommandSpec spec = command.getCommandSpec();
    String name = spec.qualifiedName().substring("zorfhadoop ".length());
    if (!command.getSubcommands().isEmpty()) {
      command.getSubcommands().values().forEach(this::command);
      return;
    }
    line(".SS " + name);
    String synopsis =
        command
            .getHelp()
            .synopsis(0)
            .replaceAll("\\s+", " ")
            .replaceFirst("^zorfhadoop " + name, "")
            .trim();
    line("\\fBzorfhadoop " + escape(name) + "\\fR " + escape(synopsis));
    paragraphs(spec.usageMessage().description());
    for (PositionalParamSpec parameter : spec.positionalParameters()) {
      tagged("\\fI" + escape(parameter.paramLabel()) + "\\fR", parameter.description());
    }
    for (OptionSpec option : spec.options()) {
      if (option.longestName().equals("--help") || option.longestName().equals("--debug")) {
        continue;
      }
      String value = " \\fI" + escape(option.paramLabel()) + "\\fR";
      String label = option.arity().max() == 0 ? "" : value;
      String names =
          Arrays.stream(option.names())
              .map(each -> "\\fB" + escape(each) + "\\fR")
              .reduce((one, other) -> one + ", " + other)
              .orElse("");
      tagged(names + label, interpolate(String.join(" ", option.description()), option));
    }
    line(".PP");
    line("Examples:");
    examples(spec);
    // The usual meaning stands at the end, once.
    if (spec.usageMessage().exitCodeList().containsValue("done")) {
      return;
    }
    line(".PP");
    line("Exit status:");
    exits(spec);
  }

  /** With the variables for default and candidates replaced. */
  private static String interpolate(String text, OptionSpec option) {
    StringBuilder candidates = new StringBuilder();
    if (option.completionCandidates() != null) {
      option
          .completionCandidates()
          .forEach(each -> candidates.append(candidates.length() == 0 ? "" : ", ").append(each));
    }
    return text.replace("${DEFAULT-VALUE}", String.valueOf(option.defaultValue()))
        .replace("${COMPLETION-CANDIDATES}", candidates);
  }

  private void exits(CommandSpec spec) {
    for (Map.Entry<String, String> exit : spec.usageMessage().exitCodeList().entrySet()) {
      tagged("\\fB" + exit.getKey() + "\\fR", exit.getValue());
    }
  }

  private void examples(CommandSpec spec) {
    line(".PP");
    line(".nf");
    for (String example : spec.usageMessage().footer()) {
      if (example.startsWith("  ")) {
        line(escape(example));
      }
    }
    line(".fi");
  }

  private void section(String name) {
    line(".SH " + name);
  }

  private void paragraphs(String... texts) {
    for (String text : texts) {
      line(".PP");
      line(escape(text));
    }
  }

  private void tagged(String tag, String... texts) {
    line(".TP");
    line(tag);
    String text = String.join(" ", texts);
    line(text.contains("\\fB") ? text : escape(text));
  }

  private void line(String text) {
    page.append(text).append('\n');
  }

  /** For roff: "\" and "-" mean something else there, as do "." and "'" where a line starts. */
  private static String escape(String text) {
    String escaped = text.replace("\\", "\\e").replace("-", "\\-").replace("%%", "%");
    return escaped.startsWith(".") || escaped.startsWith("'") ? "\\&" + escaped : escaped;
  }
}
