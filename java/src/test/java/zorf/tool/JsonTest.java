package zorf.tool;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;

import java.util.Arrays;
import java.util.List;
import org.junit.jupiter.api.Test;

/** What --json prints, and what of it is read back. */
class JsonTest extends ToolFixture {
  @Test
  void changesSayWhatWasDone() throws Exception {
    String done = "{\"path\": \"table\", \"done\": true}\n";
    String[][] changes = {
      {"chmod", "600", "table"},
      {"acl", "set", "u::rw,g::r,o::-", "table"},
      {"acl", "modify", "u:0:r", "table"},
      {"acl", "remove", "u:0", "table"},
      {"acl", "remove", "--all", "table"},
      {"xattr", "set", "user.x", "1", "table"},
      {"xattr", "remove", "user.x", "table"},
      {"replication", "--set", "3", "table"},
      {"bgf", "--set", "32", "table"},
    };
    for (String[] change : changes) {
      String[] words = Arrays.copyOf(change, change.length + 1);
      words[change.length] = "--json";
      assertEquals(done, works(words), String.join(" ", change));
    }
    assertEquals(
        "{\"path\": \"logs\", \"done\": true}\n", works("acl", "remove-default", "--json", "logs"));
    tool.input("# file: logs\nu::rwx\ng::rx\no::rx\n");
    assertEquals(
        "{\"path\": \"logs\", \"done\": true}\n",
        tool.run("acl", "restore", "--json", "-").works());
  }

  @Test
  void questionsAreAnswered() throws Exception {
    assertEquals(
        "{\"path\": \"table\", \"replicas\": 2}\n", works("replication", "--json", "table"));
    assertEquals(
        "{\"path\": \"table\", \"blockGroupFactor\": null}\n", works("bgf", "--json", "table"));
    works("bgf", "--set", "32", "table");
    assertEquals(
        "{\"path\": \"table\", \"blockGroupFactor\": 32}\n", works("bgf", "--json", "table"));
    works("xattr", "set", "user.x", "0x80", "readme");
    works("xattr", "set", "user.y", "two\nlines", "readme");
    assertEquals(
        "{\"path\": \"readme\", \"attributes\": [\"user.x\", \"user.y\"]}\n",
        works("xattr", "list", "--json", "readme"));
    assertEquals(
        "{\"path\": \"readme\", \"name\": \"user.x\", \"hex\": \"0x80\"}\n",
        works("xattr", "get", "--json", "user.x", "readme"));
    assertEquals(
        "{\"path\": \"readme\", \"name\": \"user.y\", \"text\": \"two\\nlines\", "
            + "\"hex\": \"0x74776f0a6c696e6573\"}\n",
        works("xattr", "get", "--json", "user.y", "readme"));
    for (String command : new String[] {"status", "locate", "replication", "bgf"}) {
      Launcher.Result result = tool.run(command, "--json", "gone");
      assertEquals(
          "{\"path\": \"gone\", \"error\": \"gone: No such file or directory\"}\n", result.out);
      assertEquals("zorfhadoop: gone: No such file or directory\n", result.err);
    }
    String mount = directory.toString();
    assertEquals(
        "{\"path\": \"" + mount + "\", \"error\": \"" + mount
            + ": no zorf file system is mounted there\"}\n",
        tool.run("fsname", "--json", mount).out);
  }

  @Test
  void whatIsWrittenCanBeRead() {
    String odd = "a\"b\\c\n\t\u0001\u007f/\u00e4\ud83d\ude00\ud83d";
    String text = new Json().object().put(odd, odd).end() + "\n" + new Json().array().end();
    assertEquals(
        "[{" + odd + "=" + odd + "}, []]", JsonReader.readAll(text).toString());
    assertEquals(
        "[{a=[1, -2.5e+3, true, null, {}], b=\b\f\r/\u00e9}]",
        JsonReader.readAll(
                " {\"a\" : [1,-2.5e+3 ,true,null,{ }],\r\n\t\"b\":\"\\b\\f\\r\\/\\u00e9\"} ")
            .toString());
    assertEquals(List.of(), JsonReader.readAll(" \n"));
  }

  @Test
  void whatIsNoJsonIsRefused() {
    String deep = new String(new char[200]).replace("\0", "[");
    for (String text :
        new String[] {"{", "[", "\"", "\"\\", "\"\\u12", "\"\\q\"", "{1:2}", "{\"a\"}", "[1,]",
          "{\"a\":1,}", "}", "[1 2]", deep}) {
      assertThrows(Failure.class, () -> JsonReader.readAll(text), text);
    }
  }
}
