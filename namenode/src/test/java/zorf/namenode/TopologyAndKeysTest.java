package zorf.namenode;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;

import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.List;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

class TopologyAndKeysTest {
  private static final String HEX = "0123456789abcdef".repeat(4);

  @TempDir Path directory;

  private Path file(String text) throws Exception {
    Path file = Files.writeString(directory.resolve("file"), text.replace("\\n", "\n"));
    Files.setPosixFilePermissions(file, PosixFilePermissions.fromString("rw-------"));
    return file;
  }

  @Test
  void aTopologyNamesHostsPortsAndRacks() throws Exception {
    Topology topology =
        Topology.read(file("# ours\n1 127.0.0.2 /r1 # the first\n2 127.0.0.3:50010 r2\n3 127.0.0.2 r1"));
    assertEquals(
        "[127.0.0.2:9866 /r1, 127.0.0.3:50010 /r2]",
        topology.hosts(new int[] {3, -1, 2, 77, 1}).stream()
            .map(host -> host.getXferAddr() + " " + host.getNetworkLocation())
            .toList()
            .toString());
    assertEquals(1, topology.leftOut());
  }

  @ParameterizedTest
  @CsvSource({
    "1 host,                   1: a line reads 'IDENTIFIER HOST[:PORT] RACK'",
    "'1 a r\\n\\n x b r',      3: a line reads 'IDENTIFIER HOST[:PORT] RACK'",
    "1 host:0 r,               1: not a port: 0",
    "1 host:65536 r,           1: not a port: 65536",
    "'1 127.0.0.1 r\\n1 127.0.0.2 r', 2: location 1 is given twice",
    "'1 127.0.0.1 r\\n2 127.0.0.1 q', 2: 127.0.0.1 is in /r above",
    "# nothing,                ' there is no location'",
  })
  void aTopologyWithAWrongLineIsRefused(String text, String why) throws Exception {
    Path file = file(text);
    BadFile e = assertThrows(BadFile.class, () -> Topology.read(file));
    assertEquals(file + ":" + why, e.getMessage());
  }

  @ParameterizedTest
  @CsvSource(delimiter = ';', value = {
    "x 00;       1: a key reads 'ID HEX', with 64 hexadecimal digits",
    "1 00;       1: a key reads 'ID HEX', with 64 hexadecimal digits",
    "'\\n0 HEX'; 2: a key reads 'ID HEX', with 64 hexadecimal digits",
    "'#';        ' there is no key'",
  })
  void keysWithAWrongLineAreRefused(String text, String why) throws Exception {
    Path file = file(text.replace("HEX", HEX));
    BadFile e = assertThrows(BadFile.class, () -> new Keys(file));
    assertEquals(file + ":" + why, e.getMessage());
  }

  @Test
  void keysThatOthersMayReadAreRefused() throws Exception {
    Path file = file("1 " + HEX);
    Files.setPosixFilePermissions(file, PosixFilePermissions.fromString("rw-r-----"));
    BadFile e = assertThrows(BadFile.class, () -> new Keys(file));
    assertEquals(file + ": must be its owner's alone: chmod 600", e.getMessage());
    Path link = Files.createSymbolicLink(directory.resolve("link"), file);
    e = assertThrows(BadFile.class, () -> new Keys(link));
    assertEquals(link + ": is no regular file", e.getMessage());
  }

  @Test
  void theLastKeySignsAndABadNewVersionChangesNothing() throws Exception {
    Path file = file("1 " + HEX + "\n7 " + "ff".repeat(32) + "\n");
    Keys keys = new Keys(file);
    assertEquals(7, keys.signing().id());
    file("no key\n");
    keys.readAgain();
    assertEquals(7, keys.signing().id());
    file("1 " + HEX + "\n7 " + HEX + "\n8 " + HEX + "\n");
    keys.readAgain();
    assertEquals(8, keys.signing().id());
  }

  @Test
  void theServiceDoesNotStartWithThem() throws Exception {
    Path file = file("nothing");
    for (String option : List.of("--topology", "--key")) {
      BadFile e = assertThrows(BadFile.class, () -> Served.start(option, file.toString()));
      assertEquals(0, e.getMessage().indexOf(file + ":1: "), e.getMessage());
    }
  }
}
