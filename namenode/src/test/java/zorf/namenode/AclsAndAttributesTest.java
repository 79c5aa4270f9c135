package zorf.namenode;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.file.Files;
import java.util.EnumSet;
import java.util.List;
import java.util.stream.Collectors;
import java.util.stream.IntStream;
import org.apache.hadoop.HadoopIllegalArgumentException;
import org.apache.hadoop.fs.XAttr;
import org.apache.hadoop.fs.XAttrSetFlag;
import org.apache.hadoop.fs.permission.AclEntry;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.hdfs.XAttrHelper;
import org.apache.hadoop.hdfs.protocol.AclException;
import org.apache.hadoop.hdfs.protocol.ClientProtocol;
import org.apache.hadoop.hdfs.protocol.XAttrNotFoundException;
import org.apache.hadoop.security.AccessControlException;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

class AclsAndAttributesTest {
  private static final EnumSet<XAttrSetFlag> CREATE = EnumSet.of(XAttrSetFlag.CREATE);
  private static final EnumSet<XAttrSetFlag> REPLACE = EnumSet.of(XAttrSetFlag.REPLACE);

  private Served served;
  private ClientProtocol nameNode;

  @BeforeEach
  void serve() throws Exception {
    served = Served.start();
    nameNode = served.as("root").getClient().getNamenode();
    assertTrue(nameNode.mkdirs("/d", new FsPermission((short) 0750), true));
    Files.createFile(served.root().resolve("f"));
  }

  @AfterEach
  void close() throws Exception {
    served.close();
  }

  private static List<AclEntry> acl(String text) {
    return AclEntry.parseAclSpec(text, true);
  }

  private String told(String path) throws IOException {
    return nameNode.getAclStatus(path).getEntries().stream()
        .map(AclEntry::toString)
        .collect(Collectors.joining(","));
  }

  @Test
  void entriesAreMergedWithHdfssMask() throws Exception {
    assertEquals("", told("/d"));
    nameNode.modifyAclEntries("/d", acl("user:daemon:rwx,group:bin:r--,default:user:bin:r-x"));
    assertEquals(
        "user:daemon:rwx,group::r-x,group:bin:r--,default:user::rwx,default:user:bin:r-x,"
            + "default:group::r-x,default:mask::r-x,default:other::---",
        told("/d"));
    assertEquals("rwxrwx---", nameNode.getAclStatus("/d").getPermission().toString());
    assertTrue(nameNode.getFileInfo("/d").hasAcl());
    nameNode.removeAclEntries("/d", AclEntry.parseAclSpec("user:daemon,group:bin", false));
    nameNode.removeDefaultAcl("/d");
    // The mask stays until the ACL is removed, and with it an entry of the owning group.
    assertEquals("group::r-x", told("/d"));
    assertEquals("rwxr-x---", nameNode.getFileInfo("/d").getPermission().toString());
    nameNode.removeAcl("/d");
    assertEquals("", told("/d"));
    assertFalse(nameNode.getFileInfo("/d").hasAcl());
  }

  @Test
  void anAclIsReplacedAndRemoved() throws Exception {
    nameNode.setAcl("/d", acl("user::rwx,user:daemon:r-x,group::---,other::---"));
    assertEquals("user:daemon:r-x,group::---", told("/d"));
    nameNode.removeAcl("/d");
    assertEquals("", told("/d"));
    assertEquals("rwx------", nameNode.getFileInfo("/d").getPermission().toString());
  }

  @Test
  void aclsThatCannotBeAreRefusedInHdfssWords() {
    String many =
        IntStream.rangeClosed(1, 33)
            .mapToObj(i -> "user:u" + i + ":r--")
            .collect(Collectors.joining(","));
    Refused.with(
        AclException.class,
        "Invalid ACL: ACL has 33 access entries, which exceeds maximum of 32. Path: /d",
        () -> nameNode.modifyAclEntries("/d", acl(many)));
    Refused.with(
        AclException.class,
        "Invalid ACL: multiple entries with same scope, type and name. Path: /d",
        () -> nameNode.modifyAclEntries("/d", acl("user:daemon:r--,user:daemon:rw-")));
    Refused.with(
        AclException.class,
        "Invalid ACL: only directories may have a default ACL. Path: /f Path: /f",
        () -> nameNode.modifyAclEntries("/f", acl("default:user:daemon:r--")));
    Refused.with(
        AclException.class,
        "Invalid ACL: the user, group and other entries are required. Path: /d",
        () -> nameNode.setAcl("/d", acl("user:daemon:r--")));
    Refused.with(
        IOException.class,
        "user zorf_none is unknown on this host",
        () -> nameNode.modifyAclEntries("/d", acl("user:zorf_none:r--")));
    Refused.with(
        IOException.class,
        "group zorf_none is unknown on this host",
        () -> nameNode.modifyAclEntries("/d", acl("group:zorf_none:r--")));
  }

  private static XAttr attribute(String name, String value) {
    return XAttrHelper.buildXAttr(name, value == null ? null : value.getBytes());
  }

  private String names(ClientProtocol client) throws IOException {
    return client.listXAttrs("/d").stream()
        .map(XAttrHelper::getPrefixedName)
        .collect(Collectors.joining(" "));
  }

  @Test
  void attributesAreSetReadListedAndRemoved() throws Exception {
    nameNode.setXAttr("/d", attribute("user.a", "1"), CREATE);
    nameNode.setXAttr("/d", attribute("user.b", null), CREATE);
    nameNode.setXAttr("/d", attribute("user.a", "22"), REPLACE);
    assertEquals("user.a user.b", names(nameNode));
    List<XAttr> got = nameNode.getXAttrs("/d", List.of(attribute("user.a", null)));
    assertArrayEquals("22".getBytes(), got.get(0).getValue());
    nameNode.removeXAttr("/d", attribute("user.a", null));
    assertEquals("user.b", names(nameNode));
    Refused.with(
        XAttrNotFoundException.class,
        "At least one of the attributes provided was not found.",
        () -> nameNode.getXAttrs("/d", List.of(attribute("user.a", null))));
    Refused.with(
        IOException.class,
        "No matching attributes found for remove operation",
        () -> nameNode.removeXAttr("/d", attribute("user.a", null)));
    Refused.with(
        IOException.class,
        "XAttr: b already exists. The REPLACE flag must be specified.",
        () -> nameNode.setXAttr("/d", attribute("user.b", "1"), CREATE));
    Refused.with(
        IOException.class,
        "XAttr: c does not exist. The CREATE flag must be specified.",
        () -> nameNode.setXAttr("/d", attribute("user.c", "1"), REPLACE));
  }

  @Test
  void thereAreLimitsOfNumberAndSize() throws Exception {
    Refused.with(
        HadoopIllegalArgumentException.class,
        "The XAttr is too big. The maximum combined size of the name and value is 16384, but the "
            + "total size is 16385",
        () -> nameNode.setXAttr("/d", attribute("user.a", "x".repeat(16384)), CREATE));
    for (int i = 0; i < 32; i++) {
      nameNode.setXAttr("/d", attribute("user.a" + i, "1"), CREATE);
    }
    Refused.with(
        IOException.class,
        "Cannot add additional XAttr to inode, would exceed limit of 32",
        () -> nameNode.setXAttr("/d", attribute("user.b", "1"), CREATE));
  }

  @Test
  void onlyTheSuperuserSeesTrustedAttributesAndNobodyTheFileSystemsOwn() throws Exception {
    nameNode.setPermission("/d", new FsPermission((short) 0777));
    nameNode.setXAttr("/d", attribute("user.a", "1"), CREATE);
    nameNode.setXAttr("/d", attribute("trusted.b", "1"), CREATE);
    nameNode.setReplication("/f", (short) 3);
    assertEquals("user.a trusted.b", reverse(names(nameNode)));
    ClientProtocol daemon = served.as("daemon").getClient().getNamenode();
    assertEquals("user.a", names(daemon));
    assertEquals(List.of(), nameNode.listXAttrs("/f"));
    for (String name : List.of("trusted.c", "security.c", "system.c", "user.BGF", "user.zorf.x")) {
      Refused.with(
          AccessControlException.class,
          "User doesn't have permission for xattr: " + name,
          () -> daemon.setXAttr("/d", attribute(name, "1"), CREATE));
    }
  }

  private static String reverse(String two) {
    String[] names = two.split(" ");
    return names[1] + " " + names[0];
  }

  /** Half of a pair does not come through protobuf, but from within the process. */
  @Test
  void namesBeyondTheBasicPlaneAreNoNamesOfAttributesOrUsers() throws Exception {
    for (String odd : List.of("\ud83d\ude00", "\ud83d", "\ude00")) {
      Refused.with(
          HadoopIllegalArgumentException.class,
          "The XAttr's name has a character beyond U+FFFF: " + odd,
          () ->
              served.answers().setXAttr("/f", XAttrHelper.buildXAttr("user." + odd), CREATE));
      Refused.with(
          IOException.class,
          "user " + odd + " is unknown on this host",
          () -> served.answers().modifyAclEntries("/f", acl("user:" + odd + ":rwx")));
      Refused.with(
          IOException.class,
          "user " + odd + " is unknown on this host",
          () -> served.answers().setOwner("/f", odd, null));
    }
    Refused.with(
        org.apache.hadoop.fs.InvalidPathException.class,
        "Invalid path /a?. (it has half of a surrogate pair)",
        () -> served.answers().rename("/f", "/a\ud83d"));
    assertEquals(List.of(), nameNode.listXAttrs("/f"));
    assertEquals("", told("/f"));
  }
}
