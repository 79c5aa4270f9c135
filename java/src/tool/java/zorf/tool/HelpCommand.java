package zorf.tool;

import java.util.ArrayList;
import java.util.Collections;
import java.util.Iterator;
import java.util.List;
import picocli.CommandLine;
import picocli.CommandLine.Command;
import picocli.CommandLine.Parameters;
import picocli.CommandLine.UnmatchedArgumentException;

/** Picocli's own command of this name takes one word only: there is "help acl get". */
@Command(
    name = "help",
    helpCommand = true,
    description = "Shows what --help shows of a command.",
    footer = {"  zorfhadoop help locate", "  zorfhadoop help acl get"})
final class HelpCommand extends HelpedCommand implements Runnable {
  @Parameters(
      paramLabel = "COMMAND",
      arity = "0..*",
      completionCandidates = Commands.class,
      description = "Which (default: all in short).")
  private List<String> words = new ArrayList<>();

  /** The names of the commands, for completion. */
  static final class Commands implements Iterable<String> {
    @Override
    public Iterator<String> iterator() {
      return Main.names().iterator();
    }
  }

  @Override
  public void run() {
    CommandLine line = spec.commandLine().getParent();
    for (String word : words) {
      CommandLine command = line.getSubcommands().get(word);
      if (command == null) {
        throw new UnmatchedArgumentException(line, Collections.singletonList(word));
      }
      line = command;
    }
    line.usage(line.getOut());
  }
}
