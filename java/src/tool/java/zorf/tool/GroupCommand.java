package zorf.tool;

/** A command that only has commands of its own. */
abstract class GroupCommand extends HelpedCommand implements Runnable {
  @Override
  public final void run() {
    throw misuse("which command?");
  }
}
