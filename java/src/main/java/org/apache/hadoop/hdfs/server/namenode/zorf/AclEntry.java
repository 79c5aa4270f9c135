package org.apache.hadoop.hdfs.server.namenode.zorf;

import java.util.ArrayList;
import java.util.Collections;
import java.util.List;
import java.util.Objects;

/**
 * One entry of a POSIX ACL. Its text is that of setfacl(1) with numeric ids: {@code user::rw-},
 * {@code default:group:1001:r-x}.
 */
public final class AclEntry {
  /** The permission bit of reading. */
  public static final int READ = 4;

  /** The permission bit of writing. */
  public static final int WRITE = 2;

  /** The permission bit of executing. */
  public static final int EXECUTE = 1;

  private static final long MAX_ID = 0xFFFF_FFFFL;

  private final AclScope scope;
  private final AclTag tag;
  private final long qualifier;
  private final int permission;

  private AclEntry(AclScope scope, AclTag tag, long qualifier, int permission) {
    this.scope = Objects.requireNonNull(scope);
    this.tag = Objects.requireNonNull(tag);
    this.qualifier = qualifier;
    this.permission = permission;
    if (permission < 0 || permission > (READ | WRITE | EXECUTE)) {
      throw new IllegalArgumentException("ACL permission " + permission);
    }
    if (tag.isQualified() && (qualifier < 0 || qualifier > MAX_ID)) {
      throw new IllegalArgumentException("ACL qualifier " + qualifier);
    }
  }

  /**
   * An entry without a qualifier.
   *
   * @param scope the ACL it belongs to
   * @param tag whom it is about; not {@link AclTag#USER} or {@link AclTag#GROUP}
   * @param permission a sum of {@link #READ}, {@link #WRITE} and {@link #EXECUTE}
   * @return the entry
   */
  public static AclEntry of(AclScope scope, AclTag tag, int permission) {
    if (tag.isQualified()) {
      throw new IllegalArgumentException("an ACL entry of tag " + tag + " needs a qualifier");
    }
    return new AclEntry(scope, tag, 0, permission);
  }

  /**
   * An entry of a named user or group.
   *
   * @param scope the ACL it belongs to
   * @param tag {@link AclTag#USER} or {@link AclTag#GROUP}
   * @param qualifier the uid or gid, 0 to 2^32 - 1
   * @param permission a sum of {@link #READ}, {@link #WRITE} and {@link #EXECUTE}
   * @return the entry
   */
  public static AclEntry of(AclScope scope, AclTag tag, long qualifier, int permission) {
    if (!tag.isQualified()) {
      throw new IllegalArgumentException("an ACL entry of tag " + tag + " has no qualifier");
    }
    return new AclEntry(scope, tag, qualifier, permission);
  }

  /**
   * Reads the text of one entry. The words may be cut to their first letter, the permission may be
   * a digit, and hyphens in it may be left out: {@code d:u:1001:rx}, {@code other::5}.
   *
   * @param text the text
   * @return the entry
   * @throws IllegalArgumentException if the text is not that of an entry
   */
  public static AclEntry parse(String text) {
    String rest = text.trim();
    AclScope scope = AclScope.ACCESS;
    if (rest.startsWith("d:") || rest.startsWith("default:")) {
      scope = AclScope.DEFAULT;
      rest = rest.substring(rest.indexOf(':') + 1);
    }
    String[] fields = rest.split(":", -1);
    if (fields.length != 3) {
      throw new IllegalArgumentException("not an ACL entry: \"" + text + "\"");
    }
    AclTag tag = AclTag.ofWord(fields[0], !fields[1].isEmpty());
    long qualifier = tag.isQualified() ? parseId(fields[1]) : 0;
    return new AclEntry(scope, tag, qualifier, parsePermission(fields[2]));
  }

  /**
   * Reads entries that are separated by commas or line ends.
   *
   * @param text the text
   * @return the entries in their order, unmodifiable
   * @throws IllegalArgumentException if a piece of the text is not that of an entry
   */
  public static List<AclEntry> parseAll(String text) {
    List<AclEntry> entries = new ArrayList<>();
    for (String piece : text.split("[,\n]")) {
      if (!piece.trim().isEmpty()) {
        entries.add(parse(piece));
      }
    }
    return Collections.unmodifiableList(entries);
  }

  private static long parseId(String text) {
    if (!text.matches("[0-9]{1,10}")) {
      throw new IllegalArgumentException("ACL qualifier \"" + text + "\"");
    }
    return Long.parseLong(text);
  }

  private static int parsePermission(String text) {
    if (text.matches("[0-7]")) {
      return text.charAt(0) - '0';
    }
    if (!text.matches("[r-]?[w-]?[x-]?") || text.isEmpty()) {
      throw new IllegalArgumentException("ACL permission \"" + text + "\"");
    }
    return (text.contains("r") ? READ : 0)
        | (text.contains("w") ? WRITE : 0)
        | (text.contains("x") ? EXECUTE : 0);
  }

  /** {@return the ACL it belongs to} */
  public AclScope scope() {
    return scope;
  }

  /** {@return whom it is about} */
  public AclTag tag() {
    return tag;
  }

  /** {@return the uid or gid of a qualified tag, else 0; never negative} */
  public long qualifier() {
    return qualifier;
  }

  /** {@return a sum of {@link #READ}, {@link #WRITE} and {@link #EXECUTE}} */
  public int permission() {
    return permission;
  }

  /** {@return the text of the entry, as {@link #parse} reads it} */
  @Override
  public String toString() {
    return (scope == AclScope.DEFAULT ? "default:" : "")
        + tag.word()
        + ":"
        + (tag.isQualified() ? Long.toString(qualifier) : "")
        + ":"
        + ((permission & READ) != 0 ? "r" : "-")
        + ((permission & WRITE) != 0 ? "w" : "-")
        + ((permission & EXECUTE) != 0 ? "x" : "-");
  }

  @Override
  public boolean equals(Object object) {
    if (!(object instanceof AclEntry)) {
      return false;
    }
    AclEntry other = (AclEntry) object;
    return scope == other.scope
        && tag == other.tag
        && qualifier == other.qualifier
        && permission == other.permission;
  }

  @Override
  public int hashCode() {
    return Objects.hash(scope, tag, qualifier, permission);
  }
}
