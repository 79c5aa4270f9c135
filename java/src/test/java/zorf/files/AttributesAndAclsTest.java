package zorf.files;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertThrows;

import java.io.IOException;
import java.nio.file.AccessDeniedException;
import java.nio.file.FileSystemException;
import java.nio.file.NoSuchFileException;
import java.nio.file.attribute.UserPrincipalNotFoundException;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.List;
import java.util.TreeSet;
import org.apache.hadoop.hdfs.server.namenode.zorf.AclEntry;
import org.apache.hadoop.hdfs.server.namenode.zorf.ZorfFiles.AttributeMode;
import org.junit.jupiter.api.Test;

class AttributesAndAclsTest extends FilesFixture {
  private static final byte[] ONE = {1, 0};
  private static final byte[] TWO = {2};

  @Test
  void attributesAreSetReadAndRemoved() throws Exception {
    files.setAttribute(file, "user.a", ONE, AttributeMode.CREATE);
    files.setAttribute(file, "user.b", new byte[0], AttributeMode.CREATE_OR_REPLACE);
    files.setAttribute(file, "user.a", TWO, AttributeMode.REPLACE);
    assertArrayEquals(TWO, files.attribute(file, "user.a").get());
    assertArrayEquals(new byte[0], files.attribute(file, "user.b").get());
    assertEquals(
        new TreeSet<>(Arrays.asList("user.a", "user.b")),
        new TreeSet<>(files.attributes(file).keySet()));
    assertArrayEquals(
        TWO, files.attributes(file, Collections.singleton("user.a")).get("user.a"));
    files.removeAttribute(file, "user.a");
    assertFalse(files.attribute(file, "user.a").isPresent());
    assertFalse(files.attribute(file, "unknown.a").isPresent());
  }

  @Test
  void attributesThatAreThereOrNotAreToldByTheirErrors() throws Exception {
    files.setAttribute(file, "user.a", ONE, AttributeMode.CREATE);
    assertFails(
        FileSystemException.class,
        file,
        "File exists: setxattr failed.",
        17,
        () -> files.setAttribute(file, "user.a", TWO, AttributeMode.CREATE));
    assertFails(
        FileSystemException.class,
        file,
        "No data available: setxattr failed.",
        61,
        () -> files.setAttribute(file, "user.b", TWO, AttributeMode.REPLACE));
    assertFails(
        FileSystemException.class,
        file,
        "No data available: zorf_getxattrs failed.",
        61,
        () -> files.attributes(file, Arrays.asList("user.a", "user.b")));
    assertFails(
        FileSystemException.class,
        file,
        "No data available: zorf_removexattrs failed.",
        61,
        () -> files.removeAttribute(file, "user.b"));
    String missing = file + "s";
    assertFails(
        NoSuchFileException.class,
        missing,
        "No such file or directory: zorf_getxattrs failed.",
        2,
        () -> files.attribute(missing, "user.a"));
    assertFails(
        NoSuchFileException.class,
        missing,
        "No such file or directory: zorf_dumpxattrs failed.",
        2,
        () -> files.attributes(missing));
  }

  private List<String> texts(String path) throws IOException {
    List<String> texts = new ArrayList<>();
    for (AclEntry entry : files.acl(path)) {
      texts.add(files.aclText(entry));
    }
    return texts;
  }

  @Test
  void aclsAreReadAndChangedByName() throws Exception {
    files.setPermission(file, 0640);
    assertEquals(Arrays.asList("user::rw-", "group::r--", "other::---"), texts(file));
    files.modifyAcl(file, files.parseAcl("u:daemon:rx, group:bin:r\nuser:4000000000:x"));
    assertEquals(
        Arrays.asList(
            "user::rw-",
            "user:daemon:r-x",
            "user:4000000000:--x",
            "group::r--",
            "group:bin:r--",
            "mask::r-x",
            "other::---"),
        texts(file));
    files.removeAclEntries(file, files.parseAcl("user:daemon:-,user:4000000000:-"));
    files.setAcl(file, files.parseAcl("user:bin:rw"));
    assertEquals(
        Arrays.asList("user::rw-", "user:bin:rw-", "group::r--", "mask::rw-", "other::---"),
        texts(file));
    files.removeAcl(file);
    assertEquals(Arrays.asList("user::rw-", "group::r--", "other::---"), texts(file));
    files.removeDefaultAcl(file);
  }

  @Test
  void aDirectoryHasADefaultAcl() throws Exception {
    String path = directory.toString();
    files.setPermission(path, 0700);
    files.modifyAcl(path, files.parseAcl("d:u:daemon:r,default:group:bin:x"));
    assertEquals(
        Arrays.asList(
            "user::rwx",
            "group::---",
            "other::---",
            "default:user::rwx",
            "default:user:daemon:r--",
            "default:group::---",
            "default:group:bin:--x",
            "default:mask::r-x",
            "default:other::---"),
        texts(path));
    files.removeDefaultAcl(path);
    assertEquals(Arrays.asList("user::rwx", "group::---", "other::---"), texts(path));
    files.modifyAcl(path, files.parseAcl("d:u:daemon:r,u:daemon:r"));
    files.removeAcl(path);
    assertEquals(3, files.acl(path).size());
  }

  @Test
  void textsThatAreNoAclAreRefused() {
    UserPrincipalNotFoundException unknown =
        assertThrows(
            UserPrincipalNotFoundException.class, () -> files.parseAcl("user:zorf_none:r"));
    assertEquals("zorf_none", unknown.getName());
    unknown =
        assertThrows(
            UserPrincipalNotFoundException.class, () -> files.parseAcl("d:g:zorf_none:r"));
    assertEquals("zorf_none", unknown.getName());
    assertEquals("not an ACL entry: \"user:root\"", illegal(() -> files.parseAcl("user:root")));
    assertEquals(
        "unknown ACL tag \"owner\" with a qualifier",
        illegal(() -> files.parseAcl("owner:root:r")));
  }

  @Test
  void aclFailuresKnowFileReasonAndNumber() throws Exception {
    List<AclEntry> entries = files.parseAcl("user:daemon:r");
    String missing = file + "s";
    String none = "No such file or directory";
    assertFails(NoSuchFileException.class, missing, none, 2, () -> files.acl(missing));
    assertFails(NoSuchFileException.class, missing, none, 2, () -> files.setAcl(missing, entries));
    assertFails(
        NoSuchFileException.class, missing, none, 2, () -> files.modifyAcl(missing, entries));
    assertFails(
        NoSuchFileException.class,
        missing,
        none,
        2,
        () -> files.removeAclEntries(missing, entries));
    assertFails(NoSuchFileException.class, missing, none, 2, () -> files.removeAcl(missing));
    assertFails(
        NoSuchFileException.class, missing, none, 2, () -> files.removeDefaultAcl(missing));
    assertFails(
        AccessDeniedException.class,
        file,
        "Permission denied",
        13,
        () -> files.setAcl(file, files.parseAcl("d:u:daemon:r"))); // of what is no directory
  }
}
