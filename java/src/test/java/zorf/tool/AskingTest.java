package zorf.tool;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.List;
import java.util.stream.Collectors;
import org.junit.jupiter.api.Test;

/** What the tool tells of files and of those who may not reach them. */
class AskingTest extends ToolFixture {
  @Test
  void statusTellsWhatAFileIs() throws Exception {
    String shown = works("status", "table", "logs");
    List<String> names =
        lines(shown).stream().map(line -> line.split(" ")[0]).collect(Collectors.toList());
    assertEquals(
        List.of("path", "type", "mode", "owner", "group", "ACL", "size", "inode", "HDFS",
            "replicas", "accessed", "modified", "changed", "", "path", "type", "mode", "owner",
            "group", "ACL", "size", "inode", "accessed", "modified", "changed"),
        names);
    contains(shown, "size        1,073,741,824 bytes (1 GiB)\n");
    contains(shown, "inode       " + Files.getAttribute(directory.resolve("table"), "unix:ino"));
    contains(shown, "HDFS block  128 MiB\nreplicas    2\n");
    contains(shown, "type        directory\nmode        0755 rwxr-xr-x\n");
    contains(works("status", "link"), "type        regular\n");
    contains(works("status", "--no-follow", "link"), "path        link -> table\n");
    String json = works("status", "--json", "readme");
    assertTrue(json.startsWith("{\"path\": \"readme\", \"type\": \"regular\", \"mode\": \"0640\""));
    contains(json, "\"size\": 10, ");
    contains(json, "\"acl\": false, \"blockSize\": 134217728, \"replicas\": 2}\n");
  }

  @Test
  void statusGoesOnAfterAFailure() throws Exception {
    Launcher.Result result = tool.run("status", "gone", "readme/x", "logs");
    assertEquals(
        "zorfhadoop: gone: No such file or directory\n"
            + "zorfhadoop: readme/x: No such file or directory\n",
        result.err);
    assertEquals(1, result.status);
    assertTrue(result.out.startsWith("path        logs\n"));
  }

  @Test
  void lsListsWithBlocks() throws Exception {
    List<String> shown = lines(works("ls", "."));
    assertEquals(6, shown.size());
    assertTrue(shown.get(0).matches("mode +replicas +owner +group +size +block +blocks.*name"));
    assertTrue(shown.get(1).matches("lrwxrwxrwx +- .* link -> table"), shown.get(1));
    assertTrue(shown.get(2).matches("drwxr-xr-x +- .* - +- +- .* logs"), shown.get(2));
    assertTrue(
        shown.get(5).matches("-rw-r--r-- +2 .* 1,073,741,824 +128 MiB +8 +[0-9]+ .* table"),
        shown.get(5));
    contains(works("ls", "--policy", "local", "table"), " 4 MiB      256 ");
    List<String> walk = lines(works("ls", "-R", "."));
    assertEquals(List.of(".:", "", "./logs:"), List.of(walk.get(0), walk.get(7), walk.get(8)));
    assertTrue(walk.get(10).endsWith(" today"));
    String json = works("ls", "-R", "--json", ".");
    assertEquals(6, lines(json).size());
    contains(json, "{\"path\": \"./logs/today\", ");
    fails(1, "gone: No such file or directory", "ls", "gone");
  }

  @Test
  void lsRefusesBlocksThatDoNotCoverAFile() throws Exception {
    Launcher.Result result = tool.run("ls", "-p", "rackaware-sort", "table", "readme");
    assertEquals(1, result.status);
    String refused =
        "zorfhadoop: table: rackaware-sort gave 1 block of 128 MiB for 1 GiB at 0 B, which is"
            + " 8 blocks of 128 MiB; the file's status says blocks of N KiB and the file"
            + " system 4 MiB: locate --as-on-zorf counts by the latter\n";
    assertEquals(refused, result.err.replaceFirst("[0-9]+ KiB", "N KiB"));
    // But for owner, group, locations and time.
    List<String> rows =
        lines(result.out.replaceAll(" +", " ")).stream()
            .map(row -> row.replaceFirst("^(\\S+ \\S+) \\S+ \\S+ (.*)( \\S+){3} ", "$1 $2 "))
            .collect(Collectors.toList());
    assertEquals(
        List.of("-rw-r--r-- ? 1,073,741,824 ? ? table", "-rw-r----- 2 10 128 MiB 1 readme"),
        rows.subList(1, 3));
    result = tool.run("ls", "--json", "-p", "rackaware-sort", "table");
    assertEquals(1, result.status);
    assertEquals(refused, result.err.replaceFirst("[0-9]+ KiB", "N KiB"));
    assertTrue(
        result.out.matches("\\{\"path\": \"table\", [^{}\n]*, \"acl\": false}\n"), result.out);
    works("bgf", "--set", "20", "table");
    works("ls", "-p", "rackaware-sort", "table");
  }

  @Test
  void locateTellsWhereBlocksLie() throws Exception {
    List<String> shown = lines(works("locate", "table"));
    assertEquals("table: 1 GiB, 8 blocks of 128 MiB, 2 replicas (rackaware)", shown.get(0));
    assertEquals(11, shown.size());
    assertTrue(shown.get(10).matches("    7   896 MiB( +[0-9]{2}){2}"), shown.get(10));
    assertEquals(shown, lines(works("locate", "--rows", "0", "table")));
    List<String> few = lines(works("locate", "--rows", "3", "table"));
    assertEquals(
        List.of(shown.get(3), shown.get(4), "  ...", shown.get(10)), few.subList(3, 7));
    List<String> range =
        lines(works("locate", "--offset", "300M", "--length", "100M", "table"));
    assertEquals(
        "table: 100 MiB at 300 MiB of 1 GiB, 2 blocks of 128 MiB, 2 replicas (rackaware)",
        range.get(0));
    assertEquals(
        shown.subList(5, 7).stream().map(String::trim).collect(Collectors.toList()),
        range.subList(3, 5).stream().map(String::trim).collect(Collectors.toList()));
    assertEquals(
        "table: 1 GiB, blocks of 64 MiB, 2 replicas (shared), no locations\n",
        works("locate", "-p", "shared", "--default-block-size", "64M", "table"));
    contains(works("locate", "-p", "local", "table"), "256 blocks of 4 MiB");
  }

  @Test
  void locateSortsLocations() throws Exception {
    String shown = works("locate", "-p", "rackaware-sort", "--as-on-zorf", "table");
    contains(shown, "file system blocks there\n");
    // 32 blocks of 4 MiB with 2 replicas lie on up to 24 locations: no one has more than 32.
    for (String line : lines(shown).subList(3, 11)) {
      String[] words = line.trim().split(" +");
      int most = Integer.parseInt(words[words.length - 2]);
      int second = Integer.parseInt(words[words.length - 1]);
      assertTrue(most <= 32 && second <= most && second > 1, line);
    }
  }

  @Test
  void locateRefusesBlocksThatDoNotCoverTheFile() throws Exception {
    // An HDFS block has more of these files' own small blocks than a reply of the file system.
    Launcher.Result result = tool.run("locate", "-p", "rackaware-sort", "table");
    assertEquals(1, result.status);
    assertEquals("", result.out);
    assertTrue(
        result.err.matches(
            "zorfhadoop: table: rackaware-sort gave 1 block of 128 MiB for 1 GiB at 0 B, which is"
                + " 8 blocks of 128 MiB; the file's status says blocks of [0-9]+ KiB and the file"
                + " system 4 MiB: locate --as-on-zorf counts by the latter\n"),
        result.err);
  }

  @Test
  void locateSortsTheFilesOwnBlocksIfAReplyHoldsAnHdfsBlock() throws Exception {
    works("bgf", "--set", "20", "table");
    List<String> shown = lines(works("locate", "-p", "rackaware-sort", "--rows", "3", "table"));
    assertTrue(
        shown.get(0)
            .matches(
                "table: 1 GiB, [0-9,]+ blocks of [0-9.]+ [KM]iB, 2 replicas"
                    + " \\(rackaware-sort\\)"),
        shown.get(0));
    // 20 blocks of the file, of up to 128 KiB, lie within the file system's first one.
    assertTrue(shown.get(3).matches(" +0 +0 B +[0-9]+ +[0-9]+ +20 +20"), shown.get(3));
  }

  @Test
  void locateSumsUpSeveralFiles() throws Exception {
    Launcher.Result result =
        tool.run("locate", "--topology", "racks", "table", "gone", "readme");
    assertEquals("zorfhadoop: gone: No such file or directory\n", result.err);
    assertEquals(1, result.status);
    List<String> shown = lines(result.out);
    assertEquals("2 files, 1.0 GiB: 9 blocks, 0 under-replicated (rackaware)", shown.get(0));
    assertEquals(
        List.of(
            "blocks        of   replicas   under-replicated   file",
            "     8   128 MiB          2                  0   table",
            "     1   128 MiB          2                  0   readme",
            ""),
        shown.subList(2, 6));
    // How wide the numbers are depends on where the files' blocks lie.
    assertTrue(shown.get(6).matches("rack   locations   blocks +bytes   share"), shown.get(6));
    works("replication", "--set", "3", "table");
    contains(
        works("locate", "--summary", "table"),
        "\n\nunder-replicated   offset   bytes   replicas   file\n"
            + "   blocks 0 to 7      0 B   1 GiB   2 of 3     table\n");
    contains(
        works("locate", "--summary", "--json", "table"),
        "\"underReplicated\": [{\"path\": \"table\", \"offset\": 0, \"length\": 1073741824,"
            + " \"blocks\": 8, \"locations\": 2, \"wantedReplicas\": 3}]}\n");
    assertEquals(
        "2 files, 1.0 GiB (shared), no locations\n\n"
            + "blocks        of   replicas   under-replicated   file\n"
            + "     -   128 MiB          3                  -   table\n"
            + "     -   128 MiB          2                  -   readme\n",
        works("locate", "-p", "shared", "--topology", "racks", "table", "readme"));
  }

  @Test
  void locateWritesJson() throws Exception {
    String json = works("locate", "--json", "--length", "200M", "table");
    assertTrue(
        json.matches(
            "\\{\"path\": \"table\", \"size\": 1073741824, \"policy\": \"rackaware\", "
                + "\"offset\": 0, \"length\": 209715200, \"blockSize\": 134217728, "
                + "\"replicas\": 2, "
                + "\"blocks\": \\[\\{\"offset\": 0, \"locations\": \\[\\d+, \\d+\\]\\}, "
                + "\\{\"offset\": 134217728, \"locations\": \\[\\d+, \\d+\\]\\}\\]\\}\n"),
        json);
  }

  @Test
  void locateDrawsMapsAndPictures() throws Exception {
    String map = works("locate", "--map", "--topology", "racks", "table");
    contains(map, "\nrack 1\n    11  ");
    contains(map, "\nno rack\n");
    assertFalse(map.contains("\u001b"));
    contains(works("locate", "--map", "--color", "always", "table"), "\u001b[38;5;");
    works("locate", "--svg", "picture.svg", "--topology", "racks", "table");
    String svg = new String(Files.readAllBytes(directory.resolve("picture.svg")), "UTF-8");
    assertTrue(svg.startsWith("<svg ") && svg.endsWith("</svg>\n"));
    contains(svg, ">rack 2</text>");
    assertEquals(svg, works("locate", "--svg", "-", "--topology", "racks", "table"));
    contains(
        works("locate", "--svg", "-", "-p", "shared", "table"),
        ">no locations: &quot;shared&quot; tells only block size and replica count</text>\n");
    tool.with("ZORF_TOPOLOGY", directory.resolve("none").toString());
    fails(
        1,
        "can't read " + directory.resolve("none") + ": No such file or directory",
        "locate", "--map", "table");
  }

  @Test
  void locateRefusesWhatHasNoBlocks() throws Exception {
    fails(1, "logs: only regular files have blocks", "locate", "logs");
    fails(1, "gone: No such file or directory", "locate", "gone");
    fails(
        1,
        "table: no file has a block of 9223372036854775808 bytes",
        "locate", "--default-block-size", "9223372036854775807", "table");
    fails(
        1,
        "readme: the offset is beyond the end of 10 bytes",
        "locate", "--offset", "11", "readme");
    fails(
        2,
        "Invalid value for option '--policy': 'rack' is none of local, shared, rackaware,"
            + " rackaware-sort (see: zorfhadoop locate --help)",
        "locate", "--policy", "rack", "table");
    fails(
        2,
        "Invalid value for option '--length': '1.5G' is no number of bytes (such as 4096,"
            + " 64K, 128M, 1G) (see: zorfhadoop locate --help)",
        "locate", "--length", "1.5G", "table");
    fails(
        2,
        "--map and --json exclude each other (see: zorfhadoop locate --help)",
        "locate", "--map", "--json", "table");
    fails(
        2,
        "--svg - leaves no place for --map (see: zorfhadoop locate --help)",
        "locate", "--map", "--svg", "-", "table");
    fails(
        2,
        "--map draws one PATH, without --summary (see: zorfhadoop locate --help)",
        "locate", "--map", "table", "readme");
  }

  @Test
  void fileSystemsAreNamedWhereTheyAreMounted() throws Exception {
    fails(1, directory + ": no zorf file system is mounted there", "fsname", directory.toString());
  }

  @Test
  void aMissingComponentIsDiagnosed() throws Exception {
    Launcher.Result result = tool.run("diagnose", "logs/none/deep");
    assertEquals("", result.err);
    assertEquals(1, result.status);
    Path none = directory.resolve("logs/none");
    contains(result.out, " can't reach " + none + "/deep: " + none + " does not exist\n");
    contains(result.out, "\n>   " + none + "        missing\n");
    contains(
        tool.run("diagnose", "readme/x").out,
        directory.resolve("readme") + " is not a directory\n");
    contains(works("diagnose", "readme"), " and may read it\n");
    Files.createSymbolicLink(directory.resolve("dangling"), Paths.get("nowhere"));
    contains(
        tool.run("diagnose", "dangling/x").out,
        " can't follow " + directory.resolve("dangling") + " to nowhere: No such file or directory;"
            + " see: zorfhadoop diagnose " + directory.resolve("nowhere/x") + "\n");
  }

  @Test
  void aForbiddenComponentIsDiagnosed() throws Exception {
    // Where everybody may get to.
    Path place = Files.createTempDirectory(Paths.get("/tmp"), "zorf-tool-test-");
    try {
      Files.setPosixFilePermissions(place, PosixFilePermissions.fromString("rwxr-xr-x"));
      Path closed = Files.createDirectory(place.resolve("closed"));
      Path file = Files.createFile(closed.resolve("file"));
      Files.setPosixFilePermissions(closed, PosixFilePermissions.fromString("rwxr-----"));
      Launcher.Result result = tool.run("diagnose", file.toString(), "--as", "daemon");
      if (!Launcher.isRoot()) {
        result.fails(
            1,
            "can't act as daemon: this process may not switch users (run as root, or with"
                + " CAP_SETUID and CAP_SETGID)");
        return;
      }
      assertEquals("", result.err);
      assertEquals(1, result.status);
      List<String> shown = lines(result.out);
      assertEquals(
          "daemon is stopped at " + closed + ": may not enter it, for other::--- does not grant x",
          shown.get(0));
      assertTrue(
          shown.get(3).matches(">   " + closed + " +drwxr----- 0740 +root +root +none +---"),
          shown.get(3));
      assertTrue(shown.get(4).matches("    " + file + " +-rw-r--r-- 0644 .* r--"), shown.get(4));
      contains(
          tool.run("diagnose", "--json", file.toString(), "--as", "daemon").out,
          "\"user\": \"daemon\", \"reached\": false, \"deepest\": \"" + closed + "\"");
      contains(works("diagnose", "--as", "0", file.toString()), "root reaches " + file);
      fails(1, file + ": Permission denied", "status", "--as", "daemon", file.toString());
      fails(
          1, closed + ": can't be listed: Permission denied", "ls", "--as", "daemon",
          closed.toString());
      fails(
          1, closed + ": Operation not permitted", "chmod", "--as", "daemon", "777",
          closed.toString());
    } finally {
      Files.deleteIfExists(place.resolve("closed/file"));
      Files.deleteIfExists(place.resolve("closed"));
      Files.deleteIfExists(place);
    }
  }
}
