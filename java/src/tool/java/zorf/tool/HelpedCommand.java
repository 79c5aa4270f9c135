package zorf.tool;

import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.Option;
import picocli.CommandLine.ParameterException;
import picocli.CommandLine.Spec;

/** What all commands share. */
abstract class HelpedCommand {
  @Spec CommandSpec spec;

  @Option(
      names = {"-h", "--help"},
      usageHelp = true,
      description = "Show this help and exit.")
  private boolean help;

  /** Says that the command line is wrong. */
  final ParameterException misuse(String text) {
    return new ParameterException(spec.commandLine(), text);
  }
}
