package zorf.tool;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.List;
import java.util.Set;
import java.util.stream.Collectors;
import org.apache.hadoop.hdfs.server.namenode.zorf.FileType;
import org.junit.jupiter.api.Test;
import zorf.tool.Diagnosis.Component;

/** The diagnosis as the library logs it, and what follows from it. */
class DiagnosisTest {
  private static final String REACHED =
      "@getFailedPathInt:67 tid:7"
          + "\n@/z/in ino:5 u:10:ann g:20:team m:40770 ctime: 1,2 mtime: 3,4"
          + "\nACLs: /z/in\nuser_obj::rwx\nuser:30:rwx\nuser::r--\ngroup_obj::r-x\ngroup:21:--x\n"
          + "mask::rw-\nother::---\n"
          + "\nACLs: /z/in\ndefault:user_obj::rwx\ndefault:user:-1294967296:r--\n"
          + "\n@@@fails @/z/in";
  private static final String BELOW =
      "@getFailedPathInt:67 tid:7"
          + "\n@/z/in/a/b ino:9 u:0:root g:0:root m:100644 ctime: 1,2 mtime: 3,4"
          + "\nACL error:2 /z/in/a/b"
          + "\n@/z/in/a ino:8 u:4242:4242 g:0:root m:41755 ctime: 1,2 mtime: 3,4"
          + "\nACL error:95 /z/in/a";

  private static List<Component> components() {
    return Diagnosis.parse("/z/in/a/b", List.of("@getStat:35 lstat", REACHED, BELOW)).components();
  }

  @Test
  void componentsAreReadTopDown() {
    List<Component> components = components();
    assertEquals(
        List.of("/z/in", "/z/in/a", "/z/in/a/b"),
        components.stream().map(component -> component.path).collect(Collectors.toList()));
    Component in = components.get(0);
    assertEquals(5, in.inode);
    assertEquals("ann", in.user);
    assertEquals(20, in.gid);
    assertEquals(040770, in.mode);
    assertEquals(FileType.DIRECTORY, in.type());
    Component a = components.get(1);
    assertEquals("4242", a.user);
    assertTrue(a.described());
    assertFalse(components.get(2).described());
    assertTrue(components.get(2).missing());
  }

  @Test
  void aclsAreReadWithRootAndLargeIds() {
    assertEquals(
        "[user::rwx, user:30:rwx, user:0:r--, group::r-x, group:21:--x, mask::rw-, other::---, "
            + "default:user::rwx, default:user:3000000000:r--]",
        components().get(0).acl.toString());
  }

  @Test
  void aPathThatLooksLikeALineIsStillAPath() {
    String path = "/z/x\n@/z ino:1 u:1:a g:1:b m:777 ctime: 0";
    String line =
        "@getFailedPathInt:67 tid:7\n@" + path
            + " ino:5 u:10:ann g:20:team m:100600 ctime: 1,2 mtime: 3,4\n@@@fails @" + path;
    List<Component> components = Diagnosis.parse(path, List.of(line)).components();
    assertEquals(path, components.get(components.size() - 1).path);
    assertEquals(5, components.get(components.size() - 1).inode);
  }

  @Test
  void linesOfNoDiagnosisGiveNothing() {
    assertTrue(Diagnosis.parse("/z", List.of()).components().isEmpty());
    assertTrue(Diagnosis.parse("/z", List.of("@getFailedPathInt:1 \n@/z ino:x")).components()
        .isEmpty());
  }

  private static String may(long uid, Long... gids) {
    Access access = Access.of(new Identity(uid, Set.of(gids)), components().get(0));
    return AclText.bits(access.permission());
  }

  @Test
  void theFirstKindOfEntryThatFitsDecides() {
    assertEquals("rwx", may(0, 0L));
    assertEquals("rwx", may(10, 99L)); // the owner: no mask
    assertEquals("rw-", may(30, 20L)); // a named user: the groups don't matter
    assertEquals("r--", may(11, 20L)); // the owning group under the mask
    assertEquals("---", may(11, 21L)); // a named group whose only bit the mask cuts
    assertEquals("r--", may(11, 20L, 21L));
    assertEquals("---", may(11, 22L)); // others
  }

  @Test
  void theModeStandsInForAnAclThatCannotBeRead() {
    Component sticky = components().get(1);
    assertEquals(5, Access.of(new Identity(77, Set.of(77L)), sticky).permission());
    assertEquals(7, Access.of(new Identity(4242, Set.of(77L)), sticky).permission());
  }
}
