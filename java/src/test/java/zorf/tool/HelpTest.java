package zorf.tool;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.ArrayList;
import java.util.List;
import java.util.Set;
import org.junit.jupiter.api.Test;
import picocli.CommandLine;
import picocli.CommandLine.Model.OptionSpec;
import picocli.CommandLine.Model.PositionalParamSpec;

/** Every command explains itself, and its examples are right. */
class HelpTest {
  private static List<CommandLine> all(CommandLine line) {
    List<CommandLine> commands = new ArrayList<>();
    commands.add(line);
    line.getSubcommands().values().forEach(each -> commands.addAll(all(each)));
    return commands;
  }

  private static List<CommandLine> all() {
    return all(Main.commandLine());
  }

  /** The words of an example as the shell would give them, without redirections and comments. */
  private static String[] words(String example) {
    String line = example.trim().replaceFirst("^.*?zorfhadoop ", "");
    line = line.replaceFirst(" {4,}.*", "").replaceFirst(" *\\|.*", "").replaceFirst(" *>.*", "");
    return line.replace("''", "\u0000").split(" +");
  }

  @Test
  void examplesParse() {
    int examples = 0;
    for (CommandLine command : all()) {
      for (String example : command.getCommandSpec().usageMessage().footer()) {
        if (example.startsWith("  ")) {
          Main.commandLine().parseArgs(words(example));
          examples++;
        }
      }
    }
    assertTrue(examples > 40, "there are " + examples);
  }

  /** To start quickly; help and what is misspelt need all. */
  @Test
  void aCommandThatIsAskedForIsTheOnlyOne() {
    for (String name : new String[] {"status", "acl", "doctor"}) {
      assertEquals(Set.of(name), Main.commandLine(name, "ls").getSubcommands().keySet());
    }
    for (String[] words : new String[][] {{}, {"help", "ls"}, {"--help", "ls"}, {"lss"}}) {
      assertEquals(12, Main.commandLine(words).getSubcommands().size(), String.join(" ", words));
    }
  }

  @Test
  void everyCommandHasExamplesExitStatusAndDescriptions() {
    for (CommandLine command : all()) {
      String name = command.getCommandSpec().qualifiedName();
      String help = command.getUsageMessage();
      assertTrue(help.contains("\nExamples:\n  zorfhadoop "), name);
      assertTrue(help.contains("\nExit status:\n  0   "), name);
      assertTrue(help.startsWith("Usage: " + name + " "), help);
      assertTrue(command.getCommandSpec().usageMessage().description().length > 0, name);
      for (OptionSpec option : command.getCommandSpec().options()) {
        assertTrue(option.description().length > 0, name + " " + option);
      }
      for (PositionalParamSpec parameter : command.getCommandSpec().positionalParameters()) {
        assertTrue(parameter.description().length > 0, name + " " + parameter);
      }
      boolean acts = command.getSubcommands().isEmpty() && !name.endsWith(" help");
      assertEquals(acts, command.getCommandSpec().findOption("--json") != null, name);
      assertFalse(help.contains("${"), help);
      for (String line : help.split("\n")) {
        assertTrue(line.length() <= 96, line);
      }
    }
  }

  @Test
  void theManualPageHasEveryCommandAndOption() {
    String page = ManPage.text().replace("\\-", "-");
    for (CommandLine command : all()) {
      if (command.getSubcommands().isEmpty()) {
        String name = command.getCommandSpec().qualifiedName().substring("zorfhadoop ".length());
        assertTrue(page.contains("\n.SS " + name + "\n"), name);
      }
      for (OptionSpec option : command.getCommandSpec().options()) {
        boolean everywhere = option.usageHelp() || option.longestName().equals("--debug");
        if (!everywhere && !option.versionHelp()) {
          assertTrue(page.contains("\\fB" + option.longestName() + "\\fR"), option.longestName());
        }
      }
    }
    assertFalse(page.contains("${"));
    assertEquals(-1, page.indexOf("\n\n"));
  }
}
