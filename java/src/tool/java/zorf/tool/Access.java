package zorf.tool;

import java.util.ArrayList;
import java.util.Collections;
import java.util.List;
import java.util.function.Supplier;
import java.util.stream.Collectors;
import org.apache.hadoop.hdfs.server.namenode.zorf.AclEntry;
import org.apache.hadoop.hdfs.server.namenode.zorf.AclScope;
import org.apache.hadoop.hdfs.server.namenode.zorf.AclTag;

/** What somebody may do with a file, and which entry of its ACL or mode says so. */
final class Access {
  private final int permission;
  private final Supplier<String> reason;

  private Access(int permission, Supplier<String> reason) {
    this.permission = permission;
    this.reason = reason;
  }

  /** A sum of {@link AclEntry#READ}, {@link AclEntry#WRITE} and {@link AclEntry#EXECUTE}. */
  int permission() {
    return permission;
  }

  /** Such as "other::---" or "user:alice:rwx under mask::r--". */
  String reason() {
    return reason.get();
  }

  /** Decides as the kernel does: the first kind of entry that fits decides alone. */
  static Access of(Identity who, Diagnosis.Component file) {
    if (who.uid() == 0) {
      return new Access(7, () -> "root");
    }
    List<AclEntry> acl = accessEntries(file);
    if (who.uid() == file.uid) {
      AclEntry owner = first(acl, AclTag.USER_OBJ);
      return new Access(
          owner.permission(), () -> "the owner's " + AclText.format(owner, false));
    }
    AclEntry mask = first(acl, AclTag.MASK);
    for (AclEntry entry : acl) {
      if (entry.tag() == AclTag.USER && entry.qualifier() == who.uid()) {
        return masked(Collections.singletonList(entry), mask);
      }
    }
    List<AclEntry> groups = new ArrayList<>();
    for (AclEntry entry : acl) {
      boolean own = entry.tag() == AclTag.GROUP_OBJ && who.gids().contains(file.gid);
      boolean named = entry.tag() == AclTag.GROUP && who.gids().contains(entry.qualifier());
      if (own || named) {
        groups.add(entry);
      }
    }
    if (!groups.isEmpty()) {
      return masked(groups, mask);
    }
    AclEntry other = first(acl, AclTag.OTHER);
    return new Access(other.permission(), () -> AclText.format(other, false));
  }

  /** For each single permission one of the entries is enough. */
  private static Access masked(List<AclEntry> entries, AclEntry mask) {
    int granted = entries.stream().mapToInt(AclEntry::permission).reduce(0, (a, b) -> a | b);
    int left = mask == null ? granted : granted & mask.permission();
    return new Access(
        left,
        () ->
            entries.stream()
                    .map(entry -> AclText.format(entry, false))
                    .collect(Collectors.joining(","))
                + (left == granted ? "" : " under " + mask));
  }

  private static AclEntry first(List<AclEntry> acl, AclTag tag) {
    return acl.stream().filter(entry -> entry.tag() == tag).findFirst().orElse(null);
  }

  /** Where there is no ACL to be had, the mode stands for it. */
  private static List<AclEntry> accessEntries(Diagnosis.Component file) {
    List<AclEntry> entries = new ArrayList<>();
    for (AclEntry entry : file.acl) {
      if (entry.scope() == AclScope.ACCESS) {
        entries.add(entry);
      }
    }
    if (first(entries, AclTag.USER_OBJ) == null
        || first(entries, AclTag.GROUP_OBJ) == null
        || first(entries, AclTag.OTHER) == null) {
      entries.clear();
      entries.add(AclEntry.of(AclScope.ACCESS, AclTag.USER_OBJ, file.mode >> 6 & 7));
      entries.add(AclEntry.of(AclScope.ACCESS, AclTag.GROUP_OBJ, file.mode >> 3 & 7));
      entries.add(AclEntry.of(AclScope.ACCESS, AclTag.OTHER, file.mode & 7));
    }
    return entries;
  }
}
