package zorf.tool;

import java.nio.file.LinkOption;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.util.ArrayDeque;
import java.util.Deque;
import java.util.List;
import picocli.CommandLine.Option;

/** A command that does with -R to all that lies below its paths what it does to them. */
abstract class TreeCommand extends FileCommand {
  @Option(
      names = {"-R", "--recursive"},
      description =
          "Do it to all that lies below directories too, from the top down. Symbolic links below"
              + " are left alone, what fails is counted and does not end the walk. Where others may"
              + " change the tree meanwhile, give --as: whoever swaps a file for a link directs it.")
  boolean recursive;

  @Override
  final int each(List<String> paths, PathAction action) {
    if (!recursive) {
      return super.each(paths, action);
    }
    int visited = 0;
    int failures = 0;
    for (String path : paths) {
      Deque<Path> open = new ArrayDeque<>();
      int failure = attempt(path, action);
      // An empty path is none, though Java takes it for the working directory.
      if (!path.isEmpty()) {
        failure |= attempt(path, start -> Tree.below(Paths.get(start), open));
      }
      visited++;
      failures += failure;
      while (!open.isEmpty()) {
        Path entry = open.pop();
        failure =
            attempt(
                entry.toString(),
                each -> {
                  Tree.requireAskable(entry);
                  action.on(each);
                });
        failure |=
            attempt(
                entry.toString(), each -> Tree.below(entry, open, LinkOption.NOFOLLOW_LINKS));
        visited++;
        failures += failure;
      }
    }
    if (failures > 0) {
      Output.complain(Sizes.exact(failures) + " of " + Sizes.count(visited, "path") + " failed");
    }
    return failures == 0 ? OK : FAILED;
  }
}
