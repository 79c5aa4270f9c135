package zorf.namenode;

import java.io.IOException;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.locks.Lock;
import org.apache.hadoop.fs.permission.AclEntry;
import org.apache.hadoop.fs.permission.AclEntryScope;
import org.apache.hadoop.fs.permission.AclEntryType;
import org.apache.hadoop.fs.permission.AclStatus;
import org.apache.hadoop.hdfs.protocol.AclException;
import org.apache.hadoop.hdfs.server.namenode.AclChanges;
import org.apache.hadoop.hdfs.server.namenode.zorf.ZorfFiles;
import org.apache.hadoop.thirdparty.com.google.common.util.concurrent.Striped;

/** Tells and changes ACLs. A change is computed as HDFS does it, and written whole. */
final class Acls {
  /** What there is without an extended ACL: owner, group and others. */
  private static final int MINIMAL = 3;

  private final Root root;
  private final Access access;
  private final Entrusted entrusted;
  private final AclConversion conversion;
  /** A change reads, computes and writes; by inode. */
  private final Striped<Lock> locks = Striped.lock(1024);

  Acls(Root root, Access access, Entrusted entrusted) {
    this.root = root;
    this.access = access;
    this.entrusted = entrusted;
    conversion = new AclConversion(root.files());
  }

  @ActsAs(ActsAs.Who.READER)
  AclStatus getAclStatus(String src) throws IOException {
    return access.guard(src, Access.Need.NOTHING, () -> status(src));
  }

  private AclStatus status(String src) throws IOException {
    Entry entry = root.get(src);
    ZorfFiles files = root.files();
    return new AclStatus.Builder()
        .owner(files.userName(entry.uid()))
        .group(files.groupName(entry.gid()))
        .stickyBit((entry.permission() & 01000) != 0)
        .setPermission(Statuses.permission(entry))
        .addEntries(entry.acl() ? beyondBits(existing(src, root.local(src))) : List.of())
        .build();
  }

  /** The client adds owner, mask and others itself, from the permission bits. */
  private static List<AclEntry> beyondBits(List<AclEntry> acl) {
    boolean extended = ofScope(acl, AclEntryScope.ACCESS).size() > MINIMAL;
    List<AclEntry> told = new ArrayList<>();
    for (AclEntry entry : acl) {
      boolean group = entry.getType() == AclEntryType.GROUP;
      if (entry.getScope() == AclEntryScope.DEFAULT
          || entry.getName() != null
          || extended && group) {
        told.add(entry);
      }
    }
    return told;
  }

  private static List<AclEntry> ofScope(List<AclEntry> acl, AclEntryScope scope) {
    return acl.stream().filter(entry -> entry.getScope() == scope).toList();
  }

  private List<AclEntry> existing(String src, String local) throws IOException {
    if (!Paths.isForNatives(src)) {
      throw new IOException("ACLs are not available for this name: " + src);
    }
    return AclChanges.sorted(conversion.toHdfs(root.files().acl(local)));
  }

  @ActsAs(ActsAs.Who.CHANGER)
  void modifyAclEntries(String src, List<AclEntry> aclSpec) throws IOException {
    change(src, existing -> AclChanges.merge(existing, aclSpec));
  }

  @ActsAs(ActsAs.Who.CHANGER)
  void removeAclEntries(String src, List<AclEntry> aclSpec) throws IOException {
    change(src, existing -> AclChanges.remove(existing, aclSpec));
  }

  @ActsAs(ActsAs.Who.CHANGER)
  void removeDefaultAcl(String src) throws IOException {
    change(src, AclChanges::removeDefault);
  }

  @ActsAs(ActsAs.Who.CHANGER)
  void removeAcl(String src) throws IOException {
    change(src, Acls::minimal);
  }

  /** Without entries it is the removal of all that is there. */
  @ActsAs(ActsAs.Who.CHANGER)
  void setAcl(String src, List<AclEntry> aclSpec) throws IOException {
    change(
        src,
        existing ->
            aclSpec.isEmpty() ? minimal(existing) : AclChanges.replace(existing, aclSpec));
  }

  /** What the bits say without the mask, which is in the place of the owning group's. */
  private static List<AclEntry> minimal(List<AclEntry> existing) {
    return existing.stream()
        .filter(entry -> entry.getScope() == AclEntryScope.ACCESS)
        .filter(entry -> entry.getName() == null && entry.getType() != AclEntryType.MASK)
        .toList();
  }

  private interface Change {
    List<AclEntry> apply(List<AclEntry> existing) throws AclException;
  }

  private void change(String src, Change change) throws IOException {
    access.guard(
        src,
        Access.Need.OWNER,
        () -> {
          Entry entry = Root.noLink(root.get(src));
          Lock lock = locks.get(entry.inode());
          lock.lock();
          try {
            entrusted.asCaller(entry, local -> write(entry, local, change));
          } catch (AclException e) {
            throw new AclException(e.getMessage() + " Path: " + src, e);
          } finally {
            lock.unlock();
          }
          return null;
        });
  }

  private void write(Entry entry, String local, Change change) throws IOException {
    List<AclEntry> existing = existing(entry.path(), local);
    if (!Caller.current().superuser()) {
      access.check(entry.path(), Access.Need.OWNER); // also where nothing changes
    }
    List<AclEntry> changed = change.apply(existing);
    boolean defaults = !ofScope(changed, AclEntryScope.DEFAULT).isEmpty();
    if (defaults && !entry.isDirectory()) {
      throw new AclException(
          "Invalid ACL: only directories may have a default ACL. Path: " + entry.path());
    }
    root.files().setAcl(local, conversion.toFiles(changed));
    if (!defaults && !ofScope(existing, AclEntryScope.DEFAULT).isEmpty()) {
      root.files().removeDefaultAcl(local);
    }
  }
}
