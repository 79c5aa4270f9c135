package zorf.soak;

import java.util.ArrayList;
import java.util.Collection;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import org.apache.hadoop.hdfs.server.namenode.zorf.AclEntry;
import org.apache.hadoop.hdfs.server.namenode.zorf.AclScope;
import org.apache.hadoop.hdfs.server.namenode.zorf.AclTag;

/** The entries that an ACL should have, which are those that were sent. */
final class AclModel {
  private static final AclTag[] BASE = {AclTag.USER_OBJ, AclTag.GROUP_OBJ, AclTag.OTHER};

  private final Map<String, AclEntry> entries = new LinkedHashMap<>();

  /** The access ACL that is nothing but permission bits. */
  static AclModel ofMode(int mode) {
    AclModel acl = new AclModel();
    for (int i = 0; i < BASE.length; i++) {
      acl.put(AclEntry.of(AclScope.ACCESS, BASE[i], mode >> (6 - 3 * i) & 7));
    }
    return acl;
  }

  private static String key(AclEntry entry) {
    return entry.tag() + " " + entry.qualifier();
  }

  void put(AclEntry entry) {
    entries.put(key(entry), entry);
  }

  Collection<AclEntry> entries() {
    return entries.values();
  }

  boolean isEmpty() {
    return entries.isEmpty();
  }

  boolean has(AclTag tag) {
    return get(tag) != null;
  }

  AclEntry get(AclTag tag) {
    return entries.get(tag + " 0");
  }

  List<AclEntry> named() {
    List<AclEntry> named = new ArrayList<>(entries.values());
    named.removeIf(entry -> !entry.tag().isQualified());
    return named;
  }

  void clear() {
    entries.clear();
  }

  void removeExtended() {
    entries.values().removeIf(entry -> entry.tag().isQualified() || entry.tag() == AclTag.MASK);
  }

  void remove(AclEntry entry) {
    entries.remove(key(entry));
  }

  /** The permission bits that the file shows. */
  int mode() {
    AclTag group = has(AclTag.MASK) ? AclTag.MASK : AclTag.GROUP_OBJ;
    return get(AclTag.USER_OBJ).permission() << 6
        | get(group).permission() << 3
        | get(AclTag.OTHER).permission();
  }
}
