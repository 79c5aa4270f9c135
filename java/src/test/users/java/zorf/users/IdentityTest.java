package zorf.users;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertThrows;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.nio.file.AccessDeniedException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import java.time.Duration;
import java.util.concurrent.ArrayBlockingQueue;
import java.util.concurrent.BlockingQueue;
import java.util.concurrent.Callable;
import java.util.concurrent.FutureTask;
import java.util.concurrent.ThreadFactory;
import java.util.stream.Collectors;
import java.util.stream.IntStream;
import org.apache.hadoop.hdfs.server.namenode.ZORFNative;
import org.apache.hadoop.hdfs.server.namenode.zorf.UserThreadException;
import org.apache.hadoop.hdfs.server.namenode.zorf.UserThreadException.Reason;
import org.apache.hadoop.hdfs.server.namenode.zorf.UserThreads;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

/** As whom an action runs, and what is refused rather than run as somebody else. */
class IdentityTest {
  private UserThreads threads;

  @BeforeEach
  void makeThreads() throws Exception {
    threads = UserThreads.builder().build();
  }

  @AfterEach
  void close() {
    threads.close();
  }

  private UserThreadException refused(String user) {
    return assertThrows(UserThreadException.class, () -> threads.call(user, Kernel::identity));
  }

  private static void assertRefused(Reason reason, String text, UserThreadException refusal) {
    assertEquals(text, refusal.getMessage());
    assertEquals(reason, refusal.reason());
  }

  @Test
  void anActionHasTheUsersIdsAndGroups() throws Exception {
    for (int i = 1; i <= 8; i++) {
      assertEquals(Accounts.identity(i), threads.call(Accounts.user(i), Kernel::identity));
    }
    assertEquals(Kernel.processIdentity(), Kernel.identity());
  }

  @Test
  void idsAbove31BitsAndHundredsOfGroupsArrive() throws Exception {
    assertEquals(
        "fsuid 3000000000 fsgid 3000000001 groups [3000000001]",
        threads.call(Accounts.HIGH_IDS, Kernel::identity));
    String groups =
        IntStream.rangeClosed(61001, 61300)
            .mapToObj(Integer::toString)
            .collect(Collectors.joining(", "));
    assertEquals(
        "fsuid 60001 fsgid 60001 groups [60001, " + groups + "]",
        threads.call(Accounts.MANY_GROUPS, Kernel::identity));
  }

  @Test
  void whatAnActionMakesBelongsToTheUser() throws Exception {
    Path directory = Files.createTempDirectory("owned");
    Files.setPosixFilePermissions(directory, PosixFilePermissions.fromString("rwxrwxrwx"));
    Path file = directory.resolve("file");
    threads.call(Accounts.user(3), () -> Files.write(file, new byte[] {1}));
    assertEquals(60103, Files.getAttribute(file, "unix:uid"));
    assertEquals(60103, Files.getAttribute(file, "unix:gid"));
  }

  @Test
  void aGroupOpensAFileAndNoOtherUserSeesIt() throws Exception {
    Path file = Files.createTempFile("of a group", "");
    Files.setAttribute(file, "unix:gid", 62020); // the first further group of user 2
    Files.setPosixFilePermissions(file, PosixFilePermissions.fromString("rw-r-----"));
    assertEquals(0, threads.call(Accounts.user(2), () -> Files.readAllBytes(file)).length);
    AccessDeniedException denied =
        assertThrows(
            AccessDeniedException.class,
            () -> threads.call(Accounts.user(1), () -> Files.readAllBytes(file)));
    assertEquals(file.toString(), denied.getMessage());
  }

  @Test
  void theSuperusersThreadsStayWhatTheProcessIs() throws Exception {
    assertEquals(Kernel.processIdentity(), threads.call("root", Kernel::identity));
    try (UserThreads named = UserThreads.builder().superuser(Accounts.user(1)).build()) {
      assertEquals(Kernel.processIdentity(), named.call(Accounts.user(1), Kernel::identity));
      assertEquals(Accounts.identity(2), named.call(Accounts.user(2), Kernel::identity));
    }
  }

  @Test
  void anUnknownUserIsRefusedByNameAndReadsAsNobody() throws Exception {
    UserThreadException refusal = refused("zorf_none");
    assertRefused(Reason.UNKNOWN_USER, "this host has no user \"zorf_none\"", refusal);
    assertEquals("zorf_none", refusal.user());
    assertEquals(Accounts.NOBODY, threads.read("zorf_none", Kernel::identity));
    assertEquals(Accounts.identity(1), threads.read(Accounts.user(1), Kernel::identity));
  }

  @Test
  void strangeNamesAreUnknown() {
    for (String name :
        new String[] {"", "4711", "-1", "+0", "--help", "a b", "a:b", "\0", "\u00fc"}) {
      assertRefused(Reason.UNKNOWN_USER, "this host has no user \"" + name + "\"", refused(name));
    }
  }

  @Test
  void aUserWhoIsGoneIsServedNoLongerThanAThreadLives() throws Exception {
    try (Accounts.Change passwd = new Accounts.Change("passwd");
        UserThreads shortLived = UserThreads.builder().maxAge(Duration.ofMillis(200)).build()) {
      assertEquals(Accounts.identity(8), shortLived.call(Accounts.user(8), Kernel::identity));
      passwd.removeLine("zorf_user8:");
      Thread.sleep(250);
      UserThreadException refusal =
          assertThrows(
              UserThreadException.class,
              () -> shortLived.call(Accounts.user(8), Kernel::identity));
      assertRefused(Reason.UNKNOWN_USER, "this host has no user \"zorf_user8\"", refusal);
    }
  }

  @Test
  void aNewGroupArrivesWithTheNextThread() throws Exception {
    try (Accounts.Change group = new Accounts.Change("group");
        UserThreads shortLived = UserThreads.builder().maxAge(Duration.ofMillis(300)).build()) {
      assertEquals(Accounts.identity(7), shortLived.call(Accounts.user(7), Kernel::identity));
      group.append("zorf_new:x:62999:zorf_user7");
      Thread.sleep(350);
      assertEquals(
          "fsuid 60107 fsgid 60107 groups [60107, 62070, 62071, 62999]",
          shortLived.call(Accounts.user(7), Kernel::identity));
    }
  }

  @Test
  void aFailingNameServiceIsNotTakenForAnUnknownUser() throws Exception {
    try (Accounts.Change services = new Accounts.Change("nsswitch.conf");
        Accounts.Change passwd = new Accounts.Change("passwd")) {
      services.write("passwd: files\ngroup: files\n"); // after others the C library says "missing"
      passwd.makeUnreadable();
      String text = "no thread can act as \"zorf_user6\": the name service fails";
      assertRefused(Reason.REFUSED, text, refused(Accounts.user(6)));
      assertRefused(
          Reason.REFUSED,
          text,
          assertThrows(
              UserThreadException.class,
              () -> threads.read(Accounts.user(6), Kernel::identity)));
    }
    assertEquals(Accounts.identity(6), threads.call(Accounts.user(6), Kernel::identity));
  }

  @Test
  void exceptionsReachTheCallerAsTheyAre() throws Exception {
    Exception thrown = new FileNotFoundException("declared");
    assertSame(
        thrown,
        assertThrows(
            FileNotFoundException.class,
            () ->
                threads.<Void, Exception>call(
                    Accounts.user(1),
                    () -> {
                      throw thrown;
                    })));
    Error error = new StackOverflowError();
    assertSame(
        error,
        assertThrows(
            StackOverflowError.class,
            () ->
                threads.call(
                    Accounts.user(1),
                    () -> {
                      throw error;
                    })));
    Path file = Files.createTempFile("private", "");
    assertEquals(
        "Permission denied: " + file,
        assertThrows(
                IOException.class, // which the native does not declare
                () ->
                    threads.call(
                        Accounts.user(1),
                        () -> ZORFNative.getBlockSizeNative(file.toString(), null)))
            .getMessage());
    assertEquals(Accounts.identity(1), threads.call(Accounts.user(1), Kernel::identity));
  }

  @Test
  void aThreadStartedInACallIsItsUsersForGoodAndNobodyElses() throws Exception {
    BlockingQueue<String> seen = new ArrayBlockingQueue<>(1);
    Thread started =
        threads.call(
            Accounts.user(4),
            () -> {
              Thread thread = new Thread(() -> seen.add(Kernel.identity()));
              thread.start();
              return thread;
            });
    started.join();
    assertEquals(Accounts.identity(4), seen.take());
    assertEquals(Accounts.identity(5), threads.call(Accounts.user(5), Kernel::identity));
    assertEquals(Kernel.processIdentity(), threads.call("root", Kernel::identity));
  }

  @Test
  void callsMayBeNested() throws Exception {
    String both =
        threads.call(
            Accounts.user(1),
            () -> Kernel.identity() + threads.call(Accounts.user(2), Kernel::identity));
    assertEquals(Accounts.identity(1) + Accounts.identity(2), both);
  }

  /** Runs on a thread of its own, whose identity may be spoilt. */
  private static <T> T aside(Callable<T> task) throws Exception {
    FutureTask<T> future = new FutureTask<>(task);
    Thread thread = new Thread(future);
    thread.start();
    thread.join();
    return future.get();
  }

  private static String buildText() {
    return assertThrows(IllegalStateException.class, () -> UserThreads.builder().build())
        .getMessage();
  }

  @Test
  void aSwitchedThreadCantMakeThem() throws Exception {
    String[] texts =
        aside(
            () -> {
              long handle = ZORFNative.setFsUid(Accounts.user(1));
              String switched = buildText();
              ZORFNative.setFsUid(handle);
              return new String[] {switched, buildText()}; // the groups stayed
            });
    String start = "made by a thread that acts as somebody else: ";
    String end = " instead of " + Kernel.processIdentity() + "; make it before the first setFsUid";
    assertEquals(start + Accounts.identity(1) + end, texts[0]);
    assertEquals(start + "fsuid 0 fsgid 0 groups [60101, 62010, 62011]" + end, texts[1]);
  }

  @Test
  void aThreadThatBeginsAsSomebodyElseServesNobody() throws Exception {
    ThreadFactory factory =
        task ->
            new Thread(task) {
              @Override
              public void start() {
                Thread starter =
                    new Thread(
                        () -> {
                          ZORFNative.setFsUid(Accounts.user(1));
                          super.start();
                        });
                starter.start();
              }
            };
    try (UserThreads switched = UserThreads.builder().threadFactory(factory).build()) {
      UserThreadException refusal =
          assertThrows(
              UserThreadException.class,
              () -> switched.call(Accounts.user(1), Kernel::identity));
      assertRefused(
          Reason.REFUSED,
          "no thread can act as \"zorf_user1\": its thread began with "
              + Accounts.identity(1)
              + " instead of "
              + Kernel.processIdentity(),
          refusal);
    }
  }

  @Test
  void theWarmUpRunsAsTheProcessAndItsFailureIsTheBuilders() throws Exception {
    BlockingQueue<String> seen = new ArrayBlockingQueue<>(1);
    UserThreads.builder().warmUp(() -> seen.add(Kernel.identity())).build().close();
    assertEquals(Kernel.processIdentity(), seen.take());
    IOException failure = new IOException("warm-up");
    assertSame(
        failure,
        assertThrows(
            IOException.class,
            () ->
                UserThreads.builder()
                    .warmUp(
                        () -> {
                          throw failure;
                        })
                    .build()));
  }
}
