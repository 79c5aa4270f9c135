package zorf.namenode;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.io.PrintStream;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.Path;
import java.nio.file.attribute.FileTime;
import java.nio.file.attribute.PosixFilePermissions;
import java.security.PrivilegedExceptionAction;
import java.util.EnumSet;
import java.util.List;
import java.util.Map;
import java.util.TreeMap;
import java.util.concurrent.atomic.AtomicBoolean;
import org.apache.hadoop.fs.CreateFlag;
import org.apache.hadoop.fs.FsShell;
import org.apache.hadoop.fs.Options.Rename;
import org.apache.hadoop.fs.XAttrSetFlag;
import org.apache.hadoop.fs.permission.AclEntry;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.hdfs.DistributedFileSystem;
import org.apache.hadoop.hdfs.XAttrHelper;
import org.apache.hadoop.hdfs.protocol.ClientProtocol;
import org.apache.hadoop.io.EnumSetWritable;
import org.apache.hadoop.security.AccessControlException;
import org.apache.hadoop.security.UserGroupInformation;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.function.Executable;

/** What the superuser changes is not another's because somebody put a link there. */
class TrustedLinksTest {
  private static final int DAEMON = 1;
  private static final int BIN = 2;
  private static final FsPermission ALL = new FsPermission((short) 0777);
  private static final List<AclEntry> ACL = AclEntry.parseAclSpec("user:games:rwx", true);
  private static final int ROUNDS = 200;

  private Served served;
  private ClientProtocol root;
  private Path home;
  private Path secret;

  @BeforeEach
  void serve() throws Exception {
    served = Served.start();
    root = served.as("root").getClient().getNamenode();
    home = Files.createDirectory(served.root().resolve("daemon"));
    own(home, DAEMON);
    secret = Files.createDirectory(served.root().resolve("bin"));
    Files.setPosixFilePermissions(secret, PosixFilePermissions.fromString("rwxr-xr-x"));
    own(secret, BIN);
    Files.writeString(secret.resolve("f"), "secret");
    own(secret.resolve("f"), BIN);
  }

  @AfterEach
  void close() throws Exception {
    served.close();
  }

  private static void own(Path path, int uid) throws IOException {
    Files.setAttribute(path, "unix:uid", uid, LinkOption.NOFOLLOW_LINKS);
  }

  private Path link(String name, String target, int uid) throws IOException {
    Path link = Files.createSymbolicLink(home.resolve(name), Path.of(target));
    own(link, uid);
    return link;
  }

  private static String state(Path file) throws IOException {
    Map<String, Object> all = Files.readAttributes(file, "unix:mode,uid,gid,ctime,size");
    return new TreeMap<>(all).toString();
  }

  private static void refused(String link, Executable call) {
    Refused.with(
        AccessControlException.class,
        "Permission denied: user=root, the link \"" + link + "\" of daemon leads to what is bin's",
        call);
  }

  private static <T extends Enum<T>> EnumSet<T> set(T one) {
    return EnumSet.of(one);
  }

  @Test
  void aLinkThatSomebodyElsePutThereIsNotFollowed() throws Exception {
    link("d", "../bin", DAEMON);
    link("f", "../bin/f", DAEMON);
    link("twice", "f", DAEMON);
    String before = state(secret.resolve("f"));
    String directory = state(secret);
    for (String path : List.of("/daemon/d/f", "/daemon/f", "/daemon/twice")) {
      String link = path.replace("/d/f", "/d").replace("twice", "f");
      refused(link, () -> root.setPermission(path, ALL));
      refused(link, () -> root.setOwner(path, "daemon", "daemon"));
      refused(link, () -> root.setTimes(path, 1000, 1000));
      refused(link, () -> root.setReplication(path, (short) 2));
      refused(link, () -> root.modifyAclEntries(path, ACL));
      refused(link, () -> root.setAcl(path, ACL));
      refused(link, () -> root.removeAcl(path));
      refused(
          link,
          () -> root.setXAttr(path, XAttrHelper.buildXAttr("user.a"), set(XAttrSetFlag.CREATE)));
      refused(link, () -> root.removeXAttr(path, XAttrHelper.buildXAttr("user.a")));
      refused(link, () -> root.truncate(path, 0, "client"));
      refused(
          link, () -> root.append(path, "client", new EnumSetWritable<>(set(CreateFlag.APPEND))));
    }
    refused("/daemon/d", () -> root.delete("/daemon/d/f", false));
    refused("/daemon/d", () -> root.rename2("/daemon/d/f", "/daemon/mine"));
    refused("/daemon/d", () -> root.rename("/daemon/d/f", "/daemon/mine"));
    refused("/daemon/d", () -> root.mkdirs("/daemon/d/new/er", ALL, true));
    assertEquals(before, state(secret.resolve("f")));
    assertEquals(directory, state(secret));
  }

  @Test
  void theLinkItselfIsRenamedAndDeleted() throws Exception {
    link("d", "../bin", DAEMON);
    root.rename2("/daemon/d", "/daemon/e", Rename.NONE);
    assertTrue(root.rename("/daemon/e", "/daemon/g"));
    assertTrue(root.delete("/daemon/g", true));
    assertTrue(Files.exists(secret.resolve("f")));
    assertFalse(Files.exists(home.resolve("g"), LinkOption.NOFOLLOW_LINKS));
  }

  @Test
  void aLinkOfTheOwnersOrOfRootsIsFollowed() throws Exception {
    link("of-bin", "../bin", BIN);
    link("of-root", served.root() + "/bin/f", 0);
    Path own = Files.createDirectory(home.resolve("own"));
    own(own, DAEMON);
    link("of-daemon", "own", DAEMON);
    root.setPermission("/daemon/of-bin/f", new FsPermission((short) 0600));
    root.setOwner("/daemon/of-root", null, "daemon");
    root.modifyAclEntries("/daemon/of-root", ACL);
    root.mkdirs("/daemon/of-daemon/new", ALL, true);
    assertTrue(Files.isDirectory(own.resolve("new")));
    assertEquals(1, Files.getAttribute(secret.resolve("f"), "unix:gid"));
    assertEquals(
        "[user:games:rwx, group::---]", root.getAclStatus("/bin/f").getEntries().toString());
  }

  /** The client follows links, for they are listed as what they lead to. */
  @Test
  void aWholeTreeIsChangedButNotWhatLinksInItLeadTo() throws Exception {
    link("d", "../bin", DAEMON);
    link("f", "../bin/f", DAEMON);
    Files.createFile(home.resolve("own"));
    String before = state(secret.resolve("f"));
    String directory = state(secret);
    String told =
        ": Permission denied: user=root, the link \"/daemon/%s\" of daemon leads to what is bin's\n";
    for (String command :
        List.of("-chown -R games:games", "-chmod -R 777", "-setfacl -R -m user:games:rwx")) {
      String errors = shell(command + " /daemon");
      String verb = command.substring(1, command.indexOf(' '));
      for (String link : List.of("d", "f")) {
        assertTrue(errors.contains(String.format(told, link)), verb + " said " + errors);
      }
    }
    assertEquals(before, state(secret.resolve("f")));
    assertEquals(directory, state(secret));
    assertEquals("games", root.getFileInfo("/daemon/own").getOwner());
    assertEquals(
        "[user:games:rwx, group::rwx]", root.getAclStatus("/daemon/own").getEntries().toString());
  }

  private String shell(String command) throws Exception {
    DistributedFileSystem superuser = served.as("root");
    superuser.getConf().set("fs.defaultFS", served.uri().toString());
    ByteArrayOutputStream errors = new ByteArrayOutputStream();
    PrintStream before = System.err;
    System.setErr(new PrintStream(errors, true, StandardCharsets.UTF_8));
    try {
      FsShell shell = new FsShell(superuser.getConf());
      PrivilegedExceptionAction<Integer> run = () -> shell.run(command.split(" "));
      assertEquals(1, UserGroupInformation.createRemoteUser("root").doAs(run));
    } finally {
      System.setErr(before);
    }
    return errors.toString(StandardCharsets.UTF_8);
  }

  /** Calls while a directory is now itself, and now daemon's link to bin's one. */
  @Test
  void aLinkThatComesAndGoesLeadsNowhereElse() throws Exception {
    Path directory = Files.createDirectory(home.resolve("d"));
    for (Path own : List.of(directory, Files.writeString(directory.resolve("f"), "mine"))) {
      own(own, DAEMON);
      Files.setPosixFilePermissions(own, PosixFilePermissions.fromString("rwx------"));
    }
    String before = state(secret.resolve("f"));
    List<Executable> changes =
        List.of(
            () -> root.setPermission("/daemon/d/f", ALL),
            () -> root.setOwner("/daemon/d/f", "games", "games"),
            () -> root.setTimes("/daemon/d/f", 1000, 1000),
            () -> root.modifyAclEntries("/daemon/d/f", ACL),
            () -> root.setXAttr(
                "/daemon/d/f",
                XAttrHelper.buildXAttr("user.a"),
                EnumSet.of(XAttrSetFlag.CREATE, XAttrSetFlag.REPLACE)));
    int done = 0;
    AtomicBoolean end = new AtomicBoolean();
    Thread swaps = new Thread(() -> swap(directory, end));
    swaps.start();
    for (int i = 0; i < ROUNDS; i++) {
      for (Executable change : changes) {
        try {
          change.execute();
          done++;
        } catch (IOException e) {
          // It isn't there, it is a link of daemon's, it is another file by now.
        } catch (Throwable e) {
          throw new IllegalStateException(e);
        }
      }
    }
    end.set(true);
    swaps.join();
    assertEquals(before, state(secret.resolve("f")));
    assertTrue(done > 0);
    for (Executable change : changes) {
      try {
        change.execute();
      } catch (Throwable e) {
        throw new IllegalStateException(e);
      }
    }
    assertEquals("games", Files.getOwner(directory.resolve("f")).getName());
    assertEquals(FileTime.fromMillis(1000), Files.getLastModifiedTime(directory.resolve("f")));
    assertEquals(ACL.get(0), root.getAclStatus("/daemon/d/f").getEntries().get(0));
  }

  private void swap(Path directory, AtomicBoolean end) {
    try {
      Path aside = home.resolve("aside");
      Path link = link("link", "../bin", DAEMON);
      while (!end.get()) {
        Files.move(directory, aside);
        Files.move(link, directory);
        Files.move(directory, link);
        Files.move(aside, directory);
      }
    } catch (IOException e) {
      throw new IllegalStateException(e);
    }
  }
}
