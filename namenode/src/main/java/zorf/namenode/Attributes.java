package zorf.namenode;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.util.ArrayList;
import java.util.EnumSet;
import java.util.List;
import java.util.Locale;
import java.util.Map;
import java.util.Optional;
import java.util.TreeMap;
import java.util.concurrent.locks.Lock;
import org.apache.hadoop.HadoopIllegalArgumentException;
import org.apache.hadoop.fs.XAttr;
import org.apache.hadoop.fs.XAttrSetFlag;
import org.apache.hadoop.hdfs.XAttrHelper;
import org.apache.hadoop.hdfs.protocol.XAttrNotFoundException;
import org.apache.hadoop.hdfs.server.namenode.zorf.ZorfFiles.AttributeMode;
import org.apache.hadoop.security.AccessControlException;
import org.apache.hadoop.thirdparty.com.google.common.util.concurrent.Striped;

/**
 * Tells and changes extended attributes: those of users to everybody, the trusted ones to the
 * superuser, {@link Unreadable}'s mark, and nobody those in which the file system keeps what is its
 * own.
 */
final class Attributes {
  private static final String USER = "user.";
  private static final String TRUSTED = "trusted.";

  private final Root root;
  private final Access access;
  private final Entrusted entrusted;
  private final int maxNumber;
  private final int maxSize;
  /** A change looks first, by inode. */
  private final Striped<Lock> locks = Striped.lock(1024);

  /**
   * Takes the limits.
   *
   * @param maxNumber how many a file may have
   * @param maxSize of a name and its value, in bytes
   */
  Attributes(
      Root root, Access access, Entrusted entrusted, int maxNumber, int maxSize) {
    this.root = root;
    this.access = access;
    this.entrusted = entrusted;
    this.maxNumber = maxNumber;
    this.maxSize = maxSize;
  }

  @ActsAs(ActsAs.Who.READER)
  List<XAttr> listXAttrs(String src) throws IOException {
    return all(src);
  }

  @ActsAs(ActsAs.Who.READER)
  List<XAttr> getXAttrs(String src, List<XAttr> xAttrs) throws IOException {
    if (xAttrs == null || xAttrs.isEmpty()) {
      return all(src);
    }
    for (XAttr each : xAttrs) {
      checkMayUse(each);
    }
    List<XAttr> all = all(src);
    List<XAttr> wanted = new ArrayList<>();
    for (XAttr each : xAttrs) {
      wanted.add(
          all.stream()
              .filter(each::equalsIgnoreValue)
              .findFirst()
              .orElseThrow(XAttrNotFoundException::new));
    }
    return wanted;
  }

  private List<XAttr> all(String src) throws IOException {
    return access.guard(
        src,
        Access.Need.READ,
        () -> {
          get(src);
          access.check(src, Access.Need.READ); // names alone are the kernel's to tell to anybody
          return visible(read(src, root.local(src)));
        });
  }

  private Entry get(String src) throws IOException {
    return Root.noLink(
        root.find(src).orElseThrow(() -> new FileNotFoundException("cannot find " + src)));
  }

  private Map<String, byte[]> read(String src, String local) throws IOException {
    if (!Paths.isForNatives(src)) {
      throw new IOException("attributes are not available for this name: " + src);
    }
    return root.files().attributes(local);
  }

  private static List<XAttr> visible(Map<String, byte[]> attributes) {
    boolean superuser = Caller.current().superuser();
    List<XAttr> visible = new ArrayList<>();
    for (Map.Entry<String, byte[]> each : new TreeMap<>(attributes).entrySet()) {
      String name = each.getKey();
      boolean user = name.startsWith(USER) && !isOwn(name.substring(USER.length()));
      if (user || superuser && name.startsWith(TRUSTED)) {
        visible.add(XAttrHelper.buildXAttr(name, each.getValue()));
      } else if (name.equals(Unreadable.STORED)) {
        visible.add(XAttrHelper.buildXAttr(Unreadable.NAME, each.getValue()));
      }
    }
    return visible;
  }

  /** What the file system keeps for itself, and this service. */
  private static boolean isOwn(String name) {
    return name.startsWith("zorf.")
        || name.equals("BGF")
        || Unreadable.STORED.equals(USER + name);
  }

  @ActsAs(ActsAs.Who.CHANGER)
  void setXAttr(String src, XAttr xAttr, EnumSet<XAttrSetFlag> flag) throws IOException {
    byte[] value = xAttr.getValue() == null ? new byte[0] : xAttr.getValue();
    int size = xAttr.getName().getBytes(java.nio.charset.StandardCharsets.UTF_8).length;
    if (size + value.length > maxSize) {
      throw new HadoopIllegalArgumentException(
          "The XAttr is too big. The maximum combined size of the name and value is "
              + maxSize
              + ", but the total size is "
              + (size + value.length));
    }
    checkMayUse(xAttr);
    if (Unreadable.is(xAttr) && xAttr.getValue() != null) {
      throw new AccessControlException(
          "Attempt to set a value for '"
              + Unreadable.NAME
              + "'. Values are not allowed for this xattr.");
    }
    if (!Paths.isForNatives(xAttr.getName())) {
      throw new HadoopIllegalArgumentException(
          "The XAttr's name has a character beyond U+FFFF: " + xAttr.getName());
    }
    change(
        src,
        (local, existing) -> {
          if (Unreadable.is(xAttr) && !get(src).isFile()) {
            throw new IOException("Can only set '" + Unreadable.NAME + "' on a file.");
          }
          boolean exists = existing.stream().anyMatch(xAttr::equalsIgnoreValue);
          XAttrSetFlag.validate(xAttr.getName(), exists, flag);
          if (!exists && existing.size() >= maxNumber) {
            throw new IOException(
                "Cannot add additional XAttr to inode, would exceed limit of " + maxNumber);
          }
          AttributeMode mode = exists ? AttributeMode.REPLACE : AttributeMode.CREATE;
          root.files().setAttribute(local, name(xAttr), value, mode);
        });
  }

  @ActsAs(ActsAs.Who.CHANGER)
  void removeXAttr(String src, XAttr xAttr) throws IOException {
    checkMayUse(xAttr);
    change(
        src,
        (local, existing) -> {
          Optional<XAttr> found = existing.stream().filter(xAttr::equalsIgnoreValue).findFirst();
          if (found.isEmpty()) {
            throw new IOException("No matching attributes found for remove operation");
          }
          if (Unreadable.is(xAttr)) {
            throw new AccessControlException(
                "The xattr '" + Unreadable.NAME + "' can not be deleted.");
          }
          root.files().removeAttribute(local, name(xAttr));
        });
  }

  private interface Change {
    void apply(String local, List<XAttr> existing) throws IOException;
  }

  private void change(String src, Change change) throws IOException {
    Entry entry = access.guard(src, Access.Need.NOTHING, () -> get(src));
    boolean sticky = entry.isDirectory() && (entry.permission() & 01000) != 0;
    Access.Need need = sticky ? Access.Need.OWNER : Access.Need.WRITE;
    access.check(src, need);
    Lock lock = locks.get(entry.inode());
    lock.lock();
    try {
      access.guard(
          src,
          need,
          () -> {
            entrusted.asCaller(
                entry, local -> change.apply(local, visible(existing(src, local))));
            return null;
          });
    } finally {
      lock.unlock();
    }
  }

  /** Who may write a file need not be able to read it, but what it has is to be known. */
  private Map<String, byte[]> existing(String src, String local) throws IOException {
    try {
      return read(src, local);
    } catch (java.nio.file.AccessDeniedException e) {
      return Map.of();
    }
  }

  private static String name(XAttr xAttr) {
    if (Unreadable.is(xAttr)) {
      return Unreadable.STORED;
    }
    return xAttr.getNameSpace().name().toLowerCase(Locale.ROOT) + "." + xAttr.getName();
  }

  private static void checkMayUse(XAttr xAttr) throws AccessControlException {
    boolean user = xAttr.getNameSpace() == XAttr.NameSpace.USER && !isOwn(xAttr.getName());
    boolean trusted =
        xAttr.getNameSpace() == XAttr.NameSpace.TRUSTED && Caller.current().superuser();
    if (!user && !trusted && !Unreadable.is(xAttr)) {
      throw new AccessControlException("User doesn't have permission for xattr: " + name(xAttr));
    }
  }
}
