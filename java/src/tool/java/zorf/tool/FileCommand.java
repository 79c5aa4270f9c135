package zorf.tool;

import picocli.CommandLine.Option;

/** A command about files, which may be asked on somebody's behalf. */
abstract class FileCommand extends ToolCommand {
  @Option(
      names = "--as",
      paramLabel = "USER",
      description =
          "Act on the file system as USER, a name or an id (needs root, or CAP_SETUID and"
              + " CAP_SETGID).")
  String user;

  @Override
  final int run() throws Exception {
    prepare();
    return Identity.as(user, this::runAsUser);
  }

  /** What has to happen before the library loads, and is not done as the user. */
  void prepare() throws Exception {}

  abstract int runAsUser() throws Exception;
}
