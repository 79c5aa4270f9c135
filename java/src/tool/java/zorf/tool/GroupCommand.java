package zorf.tool;

import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.Option;
import picocli.CommandLine.ParameterException;
import picocli.CommandLine.Spec;

/** A command that only has commands of its own. */
abstract class GroupCommand implements Runnable {
  @Spec private CommandSpec spec;

  @Option(
      names = {"-h", "--help"},
      usageHelp = true,
      description = "Show this help and exit.")
  private boolean help;

  @Override
  public final void run() {
    throw new ParameterException(spec.commandLine(), "which command?");
  }
}
