package zorf.tool;

import java.io.PrintWriter;
import java.util.Arrays;
import java.util.Collections;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.stream.Stream;
import picocli.CommandLine;
import picocli.CommandLine.Command;
import picocli.CommandLine.Help;
import picocli.CommandLine.Option;
import picocli.CommandLine.ParameterException;
import picocli.CommandLine.UnmatchedArgumentException;

/** The command line of {@code zorfhadoop}. */
@Command(
    name = "zorfhadoop",
    versionProvider = Version.class,
    description = {
      "Asks a zorf file system what libzorfhadoop tells an HDFS NameNode, through the same natives:"
          + " status, block placement, ACLs and attributes of files, and why a user can't reach"
          + " one."
    },
    synopsisSubcommandLabel = "COMMAND",
    footer = {
      "  zorfhadoop status /zorf/data/events.dat",
      "  zorfhadoop locate --map /zorf/data/events.dat",
      "  zorfhadoop diagnose /zorf/data/private/key --as alice",
      "  zorfhadoop doctor",
      "",
      "zorfhadoop help COMMAND tells more about each command."
    })
public final class Main extends GroupCommand {
  private static final int HELP_WIDTH = 96;
  private static final Class<?>[] COMMANDS = {
    StatusCommand.class,
    LsCommand.class,
    LocateCommand.class,
    AclCommand.class,
    XattrCommand.class,
    ChmodCommand.class,
    ReplicationCommand.class,
    BgfCommand.class,
    FsnameCommand.class,
    DiagnoseCommand.class,
    DoctorCommand.class,
    HelpCommand.class
  };

  @Option(
      names = {"-V", "--version"},
      versionHelp = true,
      description = "Show the version and exit.")
  private boolean version;

  /** Runs one command; the exit status is 0 (done), 1 (failed) or 2 (wrong command line). */
  public static void main(String[] arguments) {
    ToolLog.install();
    int result = commandLine(arguments).execute(arguments);
    if (!Output.finish() && result == ToolCommand.OK) {
      result = ToolCommand.FAILED;
    }
    System.exit(result);
  }

  /**
   * What a command line may hold, ready to execute: the command that it begins with, or else all.
   * Picocli takes longer to describe all commands to itself than one takes to run.
   */
  static CommandLine commandLine(String... arguments) {
    CommandLine line = new CommandLine(new Main());
    String word = arguments.length == 0 ? "" : arguments[0];
    Stream<Class<?>> asked = Arrays.stream(COMMANDS).filter(each -> name(each).equals(word));
    // Help is about the others.
    Class<?> only = asked.findFirst().filter(each -> each != HelpCommand.class).orElse(null);
    for (Class<?> command : COMMANDS) {
      if (only == null || command == only) {
        line.addSubcommand(command);
      }
    }
    line.setOut(new PrintWriter(Output.OUT));
    line.setErr(new PrintWriter(Output.ERR));
    // A file may be called "@x": it is no list of further arguments.
    line.setExpandAtFiles(false);
    line.setCaseInsensitiveEnumValuesAllowed(true);
    line.setColorScheme(
        Help.defaultColorScheme(
            Output.colored(Output.Color.auto) ? Help.Ansi.ON : Help.Ansi.OFF));
    line.registerConverter(Integer.class, new IntegerConverter());
    line.registerConverter(int.class, new IntegerConverter());
    line.setParameterExceptionHandler((e, words) -> misuse(e));
    line.setExecutionExceptionHandler(
        (e, command, result) -> {
          ((ToolCommand) command.getCommand()).report("failed", e);
          return ToolCommand.FAILED;
        });
    finish(line);
    return line;
  }

  private static String name(Class<?> command) {
    return command.getAnnotation(Command.class).name();
  }

  /** The names of all commands. */
  static Stream<String> names() {
    return Arrays.stream(COMMANDS).map(Main::name);
  }

  private static int misuse(ParameterException e) {
    String name = e.getCommandLine().getCommandSpec().qualifiedName();
    Output.complain(Output.printable(problem(e)) + " (see: " + name + " --help)");
    return ToolCommand.USAGE;
  }

  /** What is wrong with a command line, and what was probably meant. */
  private static String problem(ParameterException e) {
    CommandLine line = e.getCommandLine();
    boolean tooMany = e instanceof UnmatchedArgumentException;
    List<String> unmatched =
        tooMany ? ((UnmatchedArgumentException) e).getUnmatched() : line.getUnmatchedArguments();
    // An option that is not known may well be why something else seems to be missing.
    boolean option = !unmatched.isEmpty() && unmatched.get(0).startsWith("-");
    if (!tooMany && !option) {
      return e.getMessage().replaceFirst("\\.$", "");
    }
    String word = unmatched.get(0);
    if (!option && line.getSubcommands().isEmpty()) {
      return "Too many arguments: '" + word + "'";
    }
    List<String> similar =
        new UnmatchedArgumentException(line, Collections.singletonList(word)).getSuggestions();
    return "Unknown " + (option ? "option" : "command") + ": '" + word + "'"
        + (similar.isEmpty() ? "" : "; did you mean " + similar.get(0) + "?");
  }

  /** What the help of every command has in common. */
  private static void finish(CommandLine line) {
    Map<String, String> exits = new LinkedHashMap<>();
    exits.put("0", "done");
    exits.put("1", "failed, at least for one of the paths");
    exits.put("2", "wrong command line");
    CommandLine.Model.UsageMessageSpec usage = line.getCommandSpec().usageMessage();
    usage.width(
        Output.outIsTerminal() ? Math.max(55, Math.min(Output.width(), HELP_WIDTH)) : HELP_WIDTH);
    usage.sortOptions(false);
    usage.synopsisHeading("Usage: ");
    usage.descriptionHeading("%n");
    usage.parameterListHeading("%n");
    usage.optionListHeading("%nOptions:%n");
    usage.commandListHeading("%nCommands:%n");
    usage.footerHeading("%nExamples:%n");
    usage.exitCodeListHeading("%nExit status:%n");
    if (usage.exitCodeList().isEmpty()) {
      usage.exitCodeList(exits);
    }
    line.getSubcommands().values().forEach(Main::finish);
  }
}
