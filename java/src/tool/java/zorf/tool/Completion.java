package zorf.tool;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Paths;
import picocli.AutoComplete;

/**
 * Writes the completion of bash, in the build. Picocli's leaves no file names for paths, breaks
 * those with blanks for options, and takes a path that is called like a command for that command.
 */
final class Completion {
  private static final String NAMES = "      compopt -o filenames\n";
  private static final String GLOB = "      COMPREPLY=( $( compgen -f -- \"${curr_word}\" ) ) # files\n";
  private static final String VALUES = "      COMPREPLY=( $( compgen -W ";
  private static final String NO_VALUES = ")\n      return\n";

  private String script;

  private Completion(String script) {
    this.script = script;
  }

  /** Writes the script to the file that the argument names. */
  public static void main(String[] arguments) throws IOException {
    Files.write(Paths.get(arguments[0]), Bytes.utf8(text()));
  }

  static String text() {
    Completion completion = new Completion(AutoComplete.bash("zorfhadoop", Main.commandLine()));
    // Readline's own completion of file names, which bash falls back to, knows how to quote them:
    // it is taken away only where an option has values that are no files.
    completion.replace("  compopt +o default\n\n", "");
    completion.replace(VALUES, "      compopt +o default\n" + VALUES);
    completion.replace(NO_VALUES, ")\n      compopt +o default\n      return\n");
    completion.replace(NAMES + GLOB + "      return $?\n", "      return\n");
    completion.replace(
        "    --as)\n      compopt +o default\n",
        "    --as)\n      compopt +o default\n"
            + "      COMPREPLY=( $( compgen -u -- \"${curr_word}\" ) )\n");
    // Of a name of its own: scripts of other tools have the functions of these names, too.
    completion.replace("CompWordsContainsArray", "_zorfhadoop_any_order");
    completion.replace("if _zorfhadoop_any_order ", "if _zorfhadoop_command_is ");
    completion.replace(
        "# Bash completion entry point function.\n",
        "# Whether the words before the cursor begin with those of a command.\n"
            + "function _zorfhadoop_command_is() {\n"
            + "  local word i=1\n"
            + "  for word; do\n"
            + "    if ((i >= COMP_CWORD)) || [[ ${COMP_WORDS[i]} != \"$word\" ]]; then return 1; fi\n"
            + "    ((++i))\n"
            + "  done\n"
            + "}\n\n"
            + "# Bash completion entry point function.\n");
    return completion.script;
  }

  private void replace(String old, String by) {
    if (!script.contains(old)) {
      throw new IllegalStateException("picocli's completion has changed, there is no: " + old);
    }
    script = script.replace(old, by);
  }
}
