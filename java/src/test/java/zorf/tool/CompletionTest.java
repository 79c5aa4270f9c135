package zorf.tool;

import static org.junit.jupiter.api.Assertions.assertEquals;

import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.util.ArrayList;
import java.util.List;
import org.junit.jupiter.api.Test;

/** Keys into an interactive bash, and the words that come of them. */
class CompletionTest extends ToolFixture {
  private static Path completion() {
    return Paths.get(System.getProperty("zorf.test.launcher"))
        .getParent()
        .resolve("../share/bash-completion/completions/zorfhadoop");
  }

  /** The words of each of several command lines after their completion. */
  private List<String> typed(String... commandLines) throws Exception {
    StringBuilder keys = new StringBuilder("zorfhadoop() { printf '<%s>' '' \"$@\"; echo; }\r");
    keys.append("bind 'set bell-style none'; source ").append(completion()).append("\r");
    for (String line : commandLines) {
      keys.append("zorfhadoop ").append(line).append("\r");
    }
    String shown =
        new Launcher(directory)
            .with("TERM", "dumb")
            .with("LC_ALL", "C.UTF-8")
            .input(keys + "exit\r")
            .runOnTerminal("bash --norc --noprofile -i")
            .out;
    List<String> words = new ArrayList<>();
    for (String line : shown.split("[\r\n]+")) {
      if (line.startsWith("<>")) {
        words.add(line.substring(2));
      }
    }
    return words;
  }

  @Test
  void commandsOptionsAndTheirValuesAreCompleted() throws Exception {
    assertEquals(
        List.of(
            "<locate>", "<locate><--policy>", "<locate><--policy><rackaware-sort>",
            "<acl><remove-default>", "<xattr><dump><-e><base64>", "<help><replication>", "<acl>",
            "<status><--as><daemon>", "<status><--json>", "<chmod><--recursive>"),
        typed(
            "lo\t", "locate --pol\t", "locate --policy rackaware-\t", "acl remove-\t",
            "xattr dump -e b\t", "help rep\t", "acl\t", "status --as daemo\t", "status --js\t",
            "chmod --rec\t"));
  }

  @Test
  void fileNamesAreCompletedWithWhateverIsInThem() throws Exception {
    for (String name :
        new String[] {"two words", "dollar$x", "quote'd", "gr\u00fc\u00df", "a:b=c", "-dash",
          "(x)&;"}) {
      write(name, "");
    }
    Files.createDirectories(directory.resolve("some dir"));
    write("some dir/inner file", "");
    assertEquals(
        List.of(
            "<status><two words>", "<acl><get><dollar$x>", "<xattr><dump><quote'd>",
            "<ls><gr\u00fc\u00df>", "<status><a:b=c>", "<status><./-dash>", "<locate><(x)&;>",
            "<bgf><some dir/inner file>", "<locate><--svg><two words><table>",
            "<locate><--topology=racks><table>", "<chmod><u+x><two words>",
            "<xattr><set><user.x><1><table>", "<status><two words><table>",
            "<acl><restore><racks>"),
        typed(
            "status tw\t", "acl get dol\t", "xattr dump quo\t", "ls gr\t", "status a\t",
            "status ./-\t", "locate \\(\t", "bgf some\tin\t", "locate --svg tw\t tab\t",
            "locate --topology=ra\t tab\t", "chmod u+x two\t", "xattr set user.x 1 ta\t",
            "status \"two\t tab\t", "acl restore ra\t"));
  }

  @Test
  void aPathThatIsCalledLikeACommandIsAPath() throws Exception {
    write("acl", "");
    write("help", "");
    assertEquals(
        List.of("<status><acl><readme>", "<ls><help><readme>", "<xattr><list><acl><--json>"),
        typed("status ac\t read\t", "ls help read\t", "xattr list acl --js\t"));
  }

  @Test
  void whereNoFileFitsNoneIsOffered() throws Exception {
    assertEquals(
        List.of("<locate><--rows><ra>", "<status><--as><readm>", "<locate><--policy><tab>"),
        typed("locate --rows ra\t", "status --as readm\t", "locate --policy tab\t"));
  }
}
