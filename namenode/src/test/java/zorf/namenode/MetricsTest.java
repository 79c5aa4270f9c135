package zorf.namenode;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.Assertions.fail;

import java.io.IOException;
import java.net.URI;
import java.net.http.HttpClient;
import java.net.http.HttpRequest;
import java.net.http.HttpResponse;
import java.nio.file.Files;
import java.util.OptionalLong;
import java.util.concurrent.TimeUnit;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.hdfs.HdfsConfiguration;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

/** What JMX and the pages tell. */
class MetricsTest {
  private ServiceMetrics metrics;
  private Served served;
  private HttpPages pages;

  @BeforeEach
  void serve() throws Exception {
    metrics = new ServiceMetrics();
    served = Served.start();
    metrics.watch(served.nameNode());
    pages = new HttpPages(new HdfsConfiguration(), "127.0.0.1", 0);
    Files.createFile(served.root().resolve("a"));
    FileSystem files = served.as("nobody");
    for (int i = 0; i < 3; i++) {
      files.getFileStatus(new Path("/a"));
    }
  }

  @AfterEach
  void close() throws Exception {
    pages.close();
    served.close();
    metrics.close();
  }

  private HttpResponse<String> get(String page) throws IOException, InterruptedException {
    return HttpClient.newHttpClient()
        .send(
            HttpRequest.newBuilder(URI.create(pages.url() + page)).build(),
            HttpResponse.BodyHandlers.ofString());
  }

  private static OptionalLong number(String name, String page) {
    Matcher found = Pattern.compile(name + "\"? ?:? ?([0-9]+)").matcher(page);
    return found.find() ? OptionalLong.of(Long.parseLong(found.group(1))) : OptionalLong.empty();
  }

  /** Waits for a number of a bean to come, for these are not read anew each time. */
  private void awaitNumber(long expected, String bean, String name) throws Exception {
    long deadline = System.nanoTime() + TimeUnit.SECONDS.toNanos(30);
    String page;
    do {
      page = get("/jmx?qry=Hadoop:service=NameNode,name=" + bean).body();
      if (number("\"" + name, page).equals(OptionalLong.of(expected))) {
        return;
      }
      Thread.sleep(100);
    } while (System.nanoTime() - deadline < 0);
    fail("not " + name + " " + expected + " in " + page);
  }

  @Test
  void callsThreadsAndNativesAreCountedUnderJmxNames() throws Exception {
    int port = served.uri().getPort();
    awaitNumber(3, "RpcDetailedActivityForPort" + port, "GetFileInfoNumOps");
    awaitNumber(3, "RpcActivityForPort" + port, "RpcProcessingTimeNumOps");
    awaitNumber(3, "UserThreads", "Calls");
    awaitNumber(1, "UserThreads", "Threads");
    awaitNumber(1, "UserThreads", "Users");
    awaitNumber(0, "UserThreads", "RefusedBusy");
    awaitNumber(0, "UserThreads", "RefusedNewcomers");
    awaitNumber(1, "Natives", "GetUserNumOps");
    awaitNumber(1, "Root", "Mounted");
    awaitNumber(0, "Root", "LocationsLeftOut");
    assertTrue(get("/jmx").body().contains("Hadoop:service=NameNode,name=JvmMetrics"));
  }

  @Test
  void namesThatCannotBeToldAreCounted() throws Exception {
    String[] make = {"bash", "-c", "touch $'b\\xff' $'\\xff'"};
    ProcessBuilder process = new ProcessBuilder(make).directory(served.root().toFile());
    assertEquals(0, process.start().waitFor());
    assertEquals(1, served.as("nobody").listStatus(new Path("/")).length);
    awaitNumber(2, "Root", "NamesLeftOut");
  }

  @Test
  void theSameIsThereForPrometheus() throws Exception {
    String page = get("/prom").body();
    String tags = "\\{context=\"zorf\",hostname=\"[^\"]*\"\\}";
    assertEquals(OptionalLong.of(3), number("\nuser_threads_calls" + tags, page));
    assertEquals(OptionalLong.of(1), number("\nnatives_get_user_num_ops" + tags, page));
    long all = number("\nnatives_get_user_nanos" + tags, page).getAsLong();
    assertEquals(OptionalLong.of(all), number("\nnatives_get_user_max_nanos" + tags, page));
    assertTrue(page.contains("rpc_rpc_processing_time_num_ops"), page);
  }

  @Test
  void aMountThatHasGoneIsSeen() throws Exception {
    awaitNumber(1, "Root", "Mounted");
    java.nio.file.Path aside = served.root().resolveSibling("aside-" + served.root().getFileName());
    Files.move(served.root(), aside);
    try {
      awaitNumber(0, "Root", "Mounted");
    } finally {
      Files.move(aside, served.root());
    }
  }

  @Test
  void pagesShowAndChangeNothing() throws Exception {
    assertTrue(get("/index.html").body().contains("<h1>zorf-namenode</h1>"));
    assertEquals(200, get("/stacks").statusCode());
    assertEquals(200, get("/conf").statusCode());
    HttpResponse<String> refused = get("/logLevel?log=a&level=DEBUG");
    assertEquals(403, refused.statusCode());
    assertFalse(org.apache.log4j.Logger.getLogger("a").isDebugEnabled());
  }
}
