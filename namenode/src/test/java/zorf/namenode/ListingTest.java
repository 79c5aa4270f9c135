package zorf.namenode;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;

import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.ArrayList;
import java.util.List;
import org.apache.hadoop.fs.ContentSummary;
import org.apache.hadoop.hdfs.HdfsConfiguration;
import org.apache.hadoop.hdfs.protocol.ClientProtocol;
import org.apache.hadoop.hdfs.protocol.DirectoryListing;
import org.apache.hadoop.hdfs.protocol.HdfsFileStatus;
import org.apache.hadoop.security.AccessControlException;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

class ListingTest {
  private static final int NAMES = 2500;

  private Served served;
  private ClientProtocol nameNode;

  @BeforeEach
  void serve() throws Exception {
    HdfsConfiguration configuration = new HdfsConfiguration();
    configuration.setInt("dfs.ls.limit", 1000);
    served = Served.start(configuration);
    nameNode = served.as("daemon").getClient().getNamenode();
  }

  @AfterEach
  void close() throws Exception {
    served.close();
  }

  private Path many() throws Exception {
    Path directory = Files.createDirectory(served.root().resolve("d"));
    for (int i = 0; i < NAMES; i++) {
      Files.createFile(directory.resolve(String.format("%04d", i)));
    }
    return directory;
  }

  private DirectoryListing page(String after) throws Exception {
    return nameNode.getListing("/d", after.getBytes("UTF-8"), false);
  }

  private static String describe(DirectoryListing page) {
    HdfsFileStatus[] entries = page.getPartialListing();
    return entries.length == 0
        ? "nothing, left " + page.getRemainingEntries()
        : entries[0].getLocalName()
            + " to "
            + entries[entries.length - 1].getLocalName()
            + ", left "
            + page.getRemainingEntries();
  }

  @Test
  void aPageHasTheNextNamesAndTellsHowManyAreLeft() throws Exception {
    many();
    assertEquals("0000 to 0999, left 1500", describe(page("")));
    assertEquals("1000 to 1999, left 500", describe(page("0999")));
    assertEquals("2000 to 2499, left 0", describe(page("1999")));
    assertEquals("nothing, left 0", describe(page("2499")));
    assertEquals("0501 to 1500, left 999", describe(page("05005")));
  }

  @Test
  void whatComesAndGoesMeanwhileIsSeenInLaterPages() throws Exception {
    Path directory = many();
    page("");
    Files.delete(directory.resolve("1000"));
    Files.createFile(directory.resolve("1000a"));
    Files.createFile(directory.resolve("3000"));
    assertEquals("1000a to 1999, left 501", describe(page("0999")));
    assertEquals("2000 to 3000, left 0", describe(page("1999")));
  }

  @Test
  void aFileIsListedAsItselfAndWhatIsMissingIsNull() throws Exception {
    Files.writeString(served.root().resolve("f"), "hello");
    DirectoryListing listing = nameNode.getListing("/f", new byte[0], true);
    assertEquals(1, listing.getPartialListing().length);
    assertEquals("", listing.getPartialListing()[0].getLocalName());
    assertEquals(5, listing.getPartialListing()[0].getLen());
    assertNull(nameNode.getListing("/none", new byte[0], false));
  }

  @Test
  void aSummaryCountsFilesDirectoriesBytesAndReplicas() throws Exception {
    Files.createDirectories(served.root().resolve("a/b"));
    Files.writeString(served.root().resolve("a/f"), "hello");
    Files.writeString(served.root().resolve("a/b/g"), "hello!");
    Files.createSymbolicLink(served.root().resolve("a/l"), Path.of("b"));
    served.as("root").setReplication(new org.apache.hadoop.fs.Path("/a/f"), (short) 3);
    ContentSummary summary = nameNode.getContentSummary("/a");
    assertEquals(
        "2 directories, 3 files, 11 bytes, 27 with replicas, quotas -1 -1",
        summary.getDirectoryCount()
            + " directories, " + summary.getFileCount()
            + " files, " + summary.getLength()
            + " bytes, " + summary.getSpaceConsumed()
            + " with replicas, quotas " + summary.getQuota()
            + " " + summary.getSpaceQuota());
    assertEquals(5, nameNode.getQuotaUsage("/a").getFileAndDirectoryCount());
    Refused.with(
        java.io.FileNotFoundException.class,
        "File does not exist: /none",
        () -> nameNode.getContentSummary("/none"));
  }

  @Test
  void aSummaryOfManyDirectoriesIsWhole() throws Exception {
    for (int d = 0; d < 30; d++) {
      Path directory = Files.createDirectories(served.root().resolve("t/" + d % 3 + "/" + d));
      for (int f = 0; f < 250; f++) {
        Files.writeString(directory.resolve("f" + f), "ab");
      }
    }
    for (int i = 0; i < 5; i++) {
      ContentSummary summary = nameNode.getContentSummary("/t");
      assertEquals(
          "34 directories, 7500 files, 15000 bytes",
          summary.getDirectoryCount()
              + " directories, " + summary.getFileCount()
              + " files, " + summary.getLength()
              + " bytes");
    }
  }

  @Test
  void aSummaryIsRefusedForOneClosedDirectoryAmongMany() throws Exception {
    for (int d = 0; d < 200; d++) {
      Files.createDirectories(served.root().resolve("t/" + d));
    }
    Files.setPosixFilePermissions(
        served.root().resolve("t/77"), PosixFilePermissions.fromString("rwx------"));
    Refused.with(
        AccessControlException.class,
        "Permission denied: user=daemon, access=READ_EXECUTE, inode=\"/t/77\":root:root:drwx------",
        () -> nameNode.getContentSummary("/t"));
  }

  @Test
  void everyoneListsAtOnceWhileFilesComeAndGo() throws Exception {
    Path directory = many();
    List<Thread> readers = new ArrayList<>();
    List<Throwable> failures = java.util.Collections.synchronizedList(new ArrayList<>());
    for (String user : List.of("daemon", "bin", "sys", "root")) {
      ClientProtocol client = served.as(user).getClient().getNamenode();
      Thread reader =
          new Thread(
              () -> {
                try {
                  for (int i = 0; i < 20; i++) {
                    client.getListing("/d", "0500".getBytes("UTF-8"), false);
                  }
                } catch (Throwable e) {
                  failures.add(e);
                }
              });
      reader.start();
      readers.add(reader);
    }
    for (int i = 600; i < 1400; i++) {
      Files.delete(directory.resolve(String.format("%04d", i)));
    }
    for (Thread reader : readers) {
      reader.join();
    }
    assertEquals(List.of(), failures);
  }
}
