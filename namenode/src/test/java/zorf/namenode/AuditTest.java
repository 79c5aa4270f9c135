package zorf.namenode;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;

import java.io.FileNotFoundException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.ArrayList;
import java.util.List;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.Options.Rename;
import org.apache.hadoop.hdfs.server.namenode.HdfsAudit;
import org.apache.hadoop.hdfs.server.namenode.zorf.ZorfFiles;
import org.apache.hadoop.security.AccessControlException;
import org.apache.log4j.AppenderSkeleton;
import org.apache.log4j.Level;
import org.apache.log4j.Logger;
import org.apache.log4j.spi.LoggingEvent;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

class AuditTest {
  private static final Logger AUDIT = Logger.getLogger(HdfsAudit.LOGGER);

  private final List<String> lines = new ArrayList<>();
  private final AppenderSkeleton appender =
      new AppenderSkeleton() {
        @Override
        protected void append(LoggingEvent event) {
          lines.add(event.getRenderedMessage().replace('\t', ' '));
        }

        @Override
        public void close() {}

        @Override
        public boolean requiresLayout() {
          return false;
        }
      };

  @TempDir Path root;

  @BeforeEach
  void listen() {
    AUDIT.setLevel(Level.INFO);
    AUDIT.addAppender(appender);
  }

  @AfterEach
  void leave() {
    AUDIT.removeAppender(appender);
    AUDIT.setLevel(Level.OFF);
  }

  /** A call that has ended, outside of the server: a line has neither protocol nor address then. */
  private void end(String method, Object result, Exception failure, Object... arguments) {
    new AuditLog(new Configuration(), ZorfFiles.create(), root)
        .ended(
            new CallObserver.EndedCall(
                method, arguments, new Caller("alice", "10.0.0.1", false), 1, result, failure));
  }

  @Test
  void aClientsCallHasTheLineThatHdfsWrites() throws Exception {
    try (Served served = Served.start()) {
      Files.createFile(served.root().resolve("a"));
      FileSystem files = served.as("nobody");
      files.getFileStatus(new org.apache.hadoop.fs.Path("/a"));
      assertThrows(
          FileNotFoundException.class,
          () -> files.getFileStatus(new org.apache.hadoop.fs.Path("/a b\u00e9\n")));
      files.listStatus(new org.apache.hadoop.fs.Path("/"));
    }
    String start = "allowed=true ugi=nobody (auth:SIMPLE) ip=/127.0.0.1 ";
    assertEquals(
        List.of(
            start + "cmd=getfileinfo src=/a dst=null perm=null proto=rpc",
            start + "cmd=getfileinfo src=/a b\\u00E9\\n dst=null perm=null proto=rpc",
            start + "cmd=listStatus src=/ dst=null perm=null proto=rpc"),
        lines);
  }

  @Test
  void aChangeTellsTheRightsThatAreThereAfterIt() throws Exception {
    Path file = Files.createFile(root.resolve("b"));
    Files.setPosixFilePermissions(file, PosixFilePermissions.fromString("rwxr-x--x"));
    Files.setAttribute(file, "unix:uid", 1);
    Files.setAttribute(file, "unix:gid", 2);
    end("setPermission", null, null, "/b", null);
    end("rename", true, null, "/a", "/b");
    end("rename2", null, null, "/a", "/b", new Rename[] {Rename.OVERWRITE});
    end("createSymlink", null, null, "/target", "/b", null, false);
    end("delete", true, null, "/gone", true);
    end("mkdirs", true, null, "/gone", null, true);
    String start = "allowed=true ugi=alice ip=null ";
    assertEquals(
        List.of(
            start + "cmd=setPermission src=/b dst=null perm=daemon:bin:rwxr-x--x proto=null",
            start + "cmd=rename src=/a dst=/b perm=daemon:bin:rwxr-x--x proto=null",
            start
                + "cmd=rename (options=[OVERWRITE]) src=/a dst=/b"
                + " perm=daemon:bin:rwxr-x--x proto=null",
            start + "cmd=createSymlink src=/b dst=/target perm=daemon:bin:rwxr-x--x proto=null",
            start + "cmd=delete src=/gone dst=null perm=null proto=null",
            start + "cmd=mkdirs src=/gone dst=null perm=null proto=null"),
        lines);
  }

  @Test
  void aMissingRightHasALineAndNoOtherFailureHas() {
    end("delete", null, new AccessControlException("Permission denied"), "/a", true);
    end("rename", false, null, "/a", "/b");
    end("isFileClosed", false, null, "/a");
    end("delete", null, new FileNotFoundException("File does not exist: /a"), "/a", true);
    end("getServerDefaults", null, null);
    String end = " perm=null proto=null";
    assertEquals(
        List.of(
            "allowed=false ugi=alice ip=null cmd=delete src=/a dst=null" + end,
            "allowed=false ugi=alice ip=null cmd=rename src=/a dst=/b" + end,
            "allowed=true ugi=alice ip=null cmd=isFileClosed src=/a dst=null" + end),
        lines);
  }

  @Test
  void aLogThatIsOffAsksNothing() {
    AUDIT.setLevel(Level.OFF);
    end("setPermission", null, null); // without the path that a line would need
    assertEquals(List.of(), lines);
  }
}
