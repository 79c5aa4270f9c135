package zorf.users;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.Arrays;
import java.util.Collections;
import java.util.List;
import org.junit.jupiter.api.Test;

/** A process that lacks something never serves a user as somebody else. */
class ConstrainedTest {
  private static String refused(int user, String why) {
    return "REFUSED no thread can act as \"" + Accounts.user(user) + "\": " + why;
  }

  private static List<String> calls(Child child) throws Exception {
    return child.run(Accounts.user(1), Accounts.user(2));
  }

  private static String instead(int user, String identity) {
    return refused(user, "its thread has " + identity + " instead of " + Accounts.identity(user));
  }

  @Test
  void withoutTheRightToSetUidsNobodyIsServed() throws Exception {
    assertEquals(
        Arrays.asList(
            instead(1, "fsuid 0 fsgid 60101 groups [60101, 62010, 62011]"),
            instead(2, "fsuid 0 fsgid 60102 groups [60102, 62020, 62021]")),
        calls(new Child("setpriv", "--bounding-set=-setuid")));
  }

  @Test
  void withoutTheRightToSetGidsNobodyIsServed() throws Exception {
    assertEquals(
        Arrays.asList(
            instead(1, "fsuid 60101 fsgid 0 groups [5]"),
            instead(2, "fsuid 60102 fsgid 0 groups [5]")),
        calls(new Child("setpriv", "--groups=5", "--bounding-set=-setgid")));
  }

  private static Child ordinary(String capabilities) throws Exception {
    return new Child(
        "setpriv",
        "--reuid=60108",
        "--regid=60108",
        "--clear-groups",
        "--inh-caps=-all" + capabilities,
        "--ambient-caps=-all" + capabilities);
  }

  @Test
  void anOrdinaryUserServesItselfOnly() throws Exception {
    assertEquals(
        Arrays.asList(
            instead(1, "fsuid 60108 fsgid 60108 groups []"), "fsuid 60108 fsgid 60108 groups []"),
        ordinary("").run(Accounts.user(1), Accounts.user(8)));
  }

  @Test
  void anOrdinaryUserWithTheTwoRightsServesAll() throws Exception {
    assertEquals(
        Arrays.asList(Accounts.identity(1), Accounts.identity(2)),
        calls(ordinary(",+setuid,+setgid")));
  }

  @Test
  void aUserWouldNotKeepTheProcessesPowerOverFiles() throws Exception {
    String why = "its thread keeps capabilities that pass over permissions: 00000000000000c2";
    assertEquals(
        Arrays.asList(refused(1, why), refused(2, why)),
        calls(ordinary(",+setuid,+setgid,+dac_override")));
  }

  @Test
  void aPrimaryGroupOfRootIsServedOnlyWithoutTheProcessesGroups() throws Exception {
    String user = Accounts.ROOT_GROUP;
    assertEquals(
        Collections.singletonList("fsuid 60002 fsgid 0 groups []"),
        new Child("setpriv", "--clear-groups").run(user));
    assertEquals(
        Collections.singletonList(
            "REFUSED no thread can act as \"zorf_root_group\": its thread has fsuid 60002 fsgid 0"
                + " groups [5, 6] instead of fsuid 60002 fsgid 0 groups [0]"),
        new Child("setpriv", "--groups=5,6").run(user));
  }

  @Test
  void classesThatAUserMayNotReadAreThereWhenTheUserNeedsThem() throws Exception {
    Child child = new Child("setpriv", "--clear-groups").withPrivateClasses("zorfhadoop.jar");
    String start = "org.apache.hadoop.hdfs.server.namenode.zorf.Failures$";
    assertEquals(
        Arrays.asList(
            start + "NoSuchFile: /none: No such file or directory",
            start + "AccessDenied: /root/none: Permission denied",
            start + "Other: /proc/self/exe/none: Not a directory",
            "3 ACL entries",
            "[user:60101:r--, group:60101:-w-]",
            "REGULAR",
            "1 piece",
            "{}"),
        child.run("failures", Accounts.user(1)));
    assertEquals(
        Arrays.asList(Accounts.identity(1), "UNKNOWN_USER this host has no user \"zorf_none\""),
        child.run(Accounts.user(1), "zorf_none"));
  }

  @Test
  void withoutDescriptorsNobodyIsServedWithFewerGroups() throws Exception {
    List<String> lines = new Child("prlimit", "--nofile=150").run("descriptors", Accounts.user(3));
    assertEquals(Constrained.STEPS, lines.size());
    int served = lines.indexOf(Accounts.identity(3));
    assertTrue(served > 2, "served with " + served + " descriptors: " + lines);
    for (String line : lines) {
      assertTrue(line.equals(Accounts.identity(3)) || line.startsWith("REFUSED "), line);
    }
    assertEquals(
        refused(3, "/dev/null (Too many open files)"), lines.get(served - 1), lines::toString);
    assertEquals(Accounts.identity(3), lines.get(Constrained.STEPS - 1));
  }
}
